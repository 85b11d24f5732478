
#include <android/hidl/base/1.0/IBase.h>

namespace android::hidl::base::V1_0 {

using hardware::hidl_death_recipient;
using hardware::Return;

Return<bool> IBase::linkToDeath(const sp<hidl_death_recipient>& recipient, uint64_t cookie) {
    Mutex::Autolock lock(mLinksLock);
    if (mDied) return false;
    mLinks.push_back({recipient, cookie});
    return true;
}

Return<bool> IBase::unlinkToDeath(const sp<hidl_death_recipient>& recipient) {
    Mutex::Autolock lock(mLinksLock);
    return std::erase_if(mLinks, [&](const Link& l) { return l.recipient == recipient; }) > 0;
}

void IBase::onDied() {
    const sp<IBase> self(this);  // a recipient may release the last other reference

    std::vector<Link> links;
    {
        Mutex::Autolock lock(mLinksLock);
        mDied = true;
        links.swap(mLinks);
    }

    // Without the lock: a recipient may link or unlink.
    for (const Link& link : links) {
        if (const auto recipient = link.recipient.promote()) {
            recipient->serviceDied(link.cookie, this);
        }
    }
}

}  // namespace android::hidl::base::V1_0
