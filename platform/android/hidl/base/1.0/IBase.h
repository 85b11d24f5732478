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
/// Any thread may call it. It refers to the recipients weakly. Recipients are called from `onDied`
/// only, never from inside `linkToDeath` or `unlinkToDeath`.
class IBase : public virtual RefBase {
public:
    /// Asks for one call of `recipient->serviceDied(cookie, ...)` when the object dies. False, and
    /// no call, if it has died already.
    virtual hardware::Return<bool> linkToDeath(const sp<hardware::hidl_death_recipient>& recipient,
                                               uint64_t cookie);
    /// Removes every link of `recipient`. False if it had none.
    virtual hardware::Return<bool> unlinkToDeath(
        const sp<hardware::hidl_death_recipient>& recipient);

    /// Called by the transport when the object's process has ended: notifies every recipient, once.
    /// Must not be called from inside a call to the object, whose caller may hold a lock that a
    /// recipient needs.
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
