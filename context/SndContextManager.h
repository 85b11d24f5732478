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
/// rebuilds the settings database if the file or the database's layout changed, merges the maker's
/// extra file, and loads the sound context.
///
/// Any thread may call `init`, `getSndContext`, `getSignature` and the getters; `loadOemTuning` and
/// `release` share the provider with the context, so they are called under the lock that serialises
/// the context's callers (the facade's). Observers of the context that are told during a reload
/// must not call back into the manager. Owns provider, observable and context; there is no context
/// as long as there is no default tuning file or nothing could be read from it, and `init` may be
/// tried again. A database that is found damaged at start-up is put aside and built anew from the
/// file, once.
class SndContextManager : public android::Singleton<SndContextManager> {
public:
    /// Does nothing once there is a context.
    void init();
    /// Null if start-up failed. Stands until `release`.
    SndContext* getSndContext();

    /// Reads the maker's extra file again and takes up what it changed. 0; anything else when the
    /// file is missing, unreadable or of another version, or there is no context: nothing changed
    /// then.
    int loadOemTuning();

    /// Of the default tuning file in force; empty and 0 without a context.
    std::string getDefaultXmlFormatVersion();
    int getZenithGameSystemGain();

    /// Lets everything go. Nobody may use the context any more.
    void release();

    /// MD5 of a file as 32 lower-case hexadecimal digits; empty if it can't be read. The file is
    /// mapped: it must not be shortened meanwhile.
    static std::string getSignature(const std::string& path);

private:
    friend class android::Singleton<SndContextManager>;

    SndContextManager();

    void loadContextLocked(const std::string& path) REQUIRES(mLock);
    int initDatabase(Provider* provider, const std::string& path) REQUIRES(mLock);
    DeviceData* loadXmlIfChanged(const std::string& path, Provider* provider) REQUIRES(mLock);
    static std::string getChangedSignature(const std::string& path, Provider* provider);
    /// Nothing is stored if no profile could be.
    static void populateDatabase(DeviceData* data, Provider* provider);
    int loadOemTuningLocked() REQUIRES(mLock);
    static bool mergeOemTuning(const DeviceData& oem, const DeviceData& defaults,
                               Provider* provider);
    void releaseLocked() REQUIRES(mLock);

    android::Mutex mLock;
    std::unique_ptr<Provider> mProvider GUARDED_BY(mLock);
    std::unique_ptr<SndContextChangeObservable> mObservable GUARDED_BY(mLock);
    std::unique_ptr<SndContext> mContext GUARDED_BY(mLock);
    /// Holds the records of the default file during start-up.
    std::unique_ptr<TuningFileParser> mParser GUARDED_BY(mLock);
    // Of the file in force.
    std::string mFormatVersion GUARDED_BY(mLock);
    int mZenithGameSystemGain GUARDED_BY(mLock) = 0;
};

}  // namespace velora
