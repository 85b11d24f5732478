#pragma once

#include <cstdint>
#include <vector>

#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>

namespace android::hidl::base::V1_0 {

/// Base of every remote interface: an object in another process, whose death can be watched.
///
/// Any thread may call it. The recipients are not kept alive. `linkToDeath` and `unlinkToDeath`
/// never call a recipient.
class IBase : public virtual RefBase {
public:
    /// `recipient` will be told once when the object dies. False if it has died already.
    virtual hardware::Return<bool> linkToDeath(const sp<hardware::hidl_death_recipient>& recipient,
                                               uint64_t cookie);
    /// Takes back every link of `recipient`. False if there was none.
    virtual hardware::Return<bool> unlinkToDeath(
        const sp<hardware::hidl_death_recipient>& recipient);

    /// Called by the transport when the object's process has gone: tells every recipient, once.
    /// Never from inside a call to the object: its caller may hold locks that the recipients take.
    void onDied();

private:
    struct Link {
        wp<hardware::hidl_death_recipient> recipient;
        uint64_t cookie;
    };

    Mutex mLinksLock;
    bool mDied GUARDED_BY(mLinksLock) = false;
    std::vector<Link> mLinks GUARDED_BY(mLinksLock);
};

}  // namespace android::hidl::base::V1_0
