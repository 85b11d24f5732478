#pragma once

#include "context/SndContext.h"
#include "context/SndContextChangeObservable.h"
#include "model/DeviceData.h"
#include "store/Provider.h"
#include "tuning/TuningFileParser.h"

#include <memory>
#include <string>

#include <utils/Mutex.h>
#include <utils/Singleton.h>

namespace velora {

/// The process-wide owner of the context layer. On first use it finds the default tuning file,
/// rebuilds the settings store if the file or the store's layout changed, merges the maker's extra
/// tuning file (OEM), and loads the sound context.
///
/// Owns provider, observable and context. Any thread may call `init`, `getSignature` and the
/// getters. `loadOemTuning` and `release` also change what the context uses: the first takes the
/// lock that serialises the context's callers (the facade's), the other must be called while nobody
/// uses the context. Observers must not call back into the manager.
///
/// If start-up fails, which is logged, there is no context, and `init` may be called again. It
/// fails without a default tuning file, if stored settings can't be read, and if nothing is stored
/// and nothing can be read from the file. A store that is damaged at start-up is renamed and
/// rebuilt from the file, once.
class SndContextManager : public android::Singleton<SndContextManager> {
public:
    /// Does nothing if there is a context.
    void init();
    /// Null if start-up failed. Valid until `release`.
    SndContext* getSndContext() const;

    /// Reads the extra tuning file again, stores what it contains, and reloads the context's
    /// tunings. A file that was merged last, also before this start, and has not changed since is
    /// neither parsed nor stored again. Returns 0 on success. Otherwise the selected tunings remain
    /// the same: the file is missing, malformed or of another version than the default file, the
    /// store fails, or there is no context.
    [[nodiscard]] int loadOemTuning();
    /// The same while other threads use the context with `callersLock` held: only the last step,
    /// which changes the context and notifies its observers, takes that lock.
    [[nodiscard]] int loadOemTuning(android::Mutex& callersLock);

    /// Of the stored default tuning file; empty and 0 without a context.
    std::string getDefaultXmlFormatVersion() const;
    int getZenithGameSystemGain() const;

    /// Destroys what the manager owns. Nobody may use the context afterwards; `init` starts again.
    void release();

    /// MD5 of a file as 32 lower-case hexadecimal digits; empty if it can't be read.
    static std::string getSignature(const std::string& path);

private:
    friend class android::Singleton<SndContextManager>;

    SndContextManager();

    void openStoreLocked() REQUIRES(mLock);
    void loadContextLocked(const std::string& path) REQUIRES(mLock);
    /// Sets the damaged store aside and fills a new one from the file, with what is still intact of
    /// the user's settings.
    void rebuildLocked(const std::string& path) REQUIRES(mLock);
    /// Stores what was salvaged over the new user's copies. False if that fails.
    [[nodiscard]] bool restoreSalvaged(const DeviceData& data, Provider* provider) REQUIRES(mLock);
    /// The records of the file, valid as long as `mParser`. Null if it can't be used.
    DeviceData* parse(const std::string& path) REQUIRES(mLock);
    /// Fills the store from the tuning files if the default one changed. Always 0: if the file
    /// can't be used, or the store can't be read or written, the stored settings remain in use.
    int initDatabase(Provider* provider, const std::string& path) REQUIRES(mLock);
    /// The records of the file, valid as long as `mParser`. Null if it did not change or can't be
    /// used, or if the store can't be read, which is logged.
    DeviceData* loadXmlIfChanged(const std::string& path, Provider* provider) REQUIRES(mLock);
    /// The signature of the file if the store must be filled from it, else empty.
    static std::string getChangedSignature(const std::string& path, Provider* provider);
    [[nodiscard]] static bool populateDatabase(DeviceData* data, Provider* provider);
    int loadOemTuningLocked() REQUIRES(mLock);
    /// Merges the extra file and reads the tunings again. 0 or an error.
    [[nodiscard]] int mergeChangedOem(const std::string& path, Provider::Tunings* tunings)
        REQUIRES(mReloadLock);
    void releaseLocked() REQUIRES(mLock);
    Provider* getProvider() const;
    std::string getOemSignature() const;
    void setOemSignature(const std::string& signature);

    /// Held by `loadOemTuning` and `release`. It comes before the callers' lock and `mLock`.
    android::Mutex mReloadLock;

    mutable android::Mutex mLock;
    std::unique_ptr<Provider> mProvider GUARDED_BY(mLock);
    std::unique_ptr<SndContextChangeObservable> mObservable GUARDED_BY(mLock);
    std::unique_ptr<SndContext> mContext GUARDED_BY(mLock);
    /// Owns the records of the default tuning file during start-up.
    std::unique_ptr<TuningFileParser> mParser GUARDED_BY(mLock);
    UserSettings mSalvaged GUARDED_BY(mLock);  ///< until they are stored in the rebuilt store
    // Of the stored default tuning file.
    std::string mFormatVersion GUARDED_BY(mLock);
    int mZenithGameSystemGain GUARDED_BY(mLock) = 0;
    std::string mOemSignature GUARDED_BY(mLock);  ///< of the extra file that was merged last
};

}  // namespace velora
