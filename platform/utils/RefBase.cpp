#include <utils/RefBase.h>

namespace android {

RefBase::RefBase() : mCounts(new Counts(this)) {}

// An object may be destroyed without ever having had a strong reference: the count is set to zero
// here, so that weak references can't be promoted afterwards.
RefBase::~RefBase() {
    mCounts->mStrong = 0;
    mCounts->decWeak();
}

void RefBase::incStrong() const { mCounts->incStrong(); }

void RefBase::decStrong() const { mCounts->decStrong(); }

void RefBase::Counts::incStrong() { startLife(mStrong.fetch_add(1, std::memory_order_relaxed)); }

void RefBase::Counts::decStrong() {
    if (mStrong.fetch_sub(1, std::memory_order_acq_rel) == 1) delete mObject;
}

bool RefBase::Counts::tryIncStrong() {
    int32_t strong = mStrong.load(std::memory_order_relaxed);
    do {
        if (strong == 0) return false;
    } while (!mStrong.compare_exchange_weak(strong, strong + 1, std::memory_order_acquire,
                                            std::memory_order_relaxed));
    startLife(strong);
    return true;
}

void RefBase::Counts::startLife(int32_t strongBefore) {
    if (strongBefore != kNeverReferenced) return;
    mStrong.fetch_sub(kNeverReferenced, std::memory_order_relaxed);
    const_cast<RefBase*>(mObject)->onFirstRef();
}

void RefBase::Counts::decWeak() {
    if (mWeak.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

}  // namespace android
