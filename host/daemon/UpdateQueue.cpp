#include "host/daemon/UpdateQueue.h"

#include "host/SdBus.h"

#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

namespace velora::host {

using android::Mutex;

UpdateQueue::UpdateQueue()
    : mFd(checkErrno(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "watch the updates")) {}

UpdateQueue::~UpdateQueue() { close(mFd); }

void UpdateQueue::begin(std::span<const uint8_t> data) {
    Mutex::Autolock lock(mLock);
    mData = std::make_shared<const Bytes>(data.begin(), data.end());
    addLocked(Update{kObserver, mData});
}

void UpdateQueue::address(uint32_t client) {
    Mutex::Autolock lock(mLock);
    addLocked(Update{client, mData});
}

void UpdateQueue::post(Completion completion) {
    Mutex::Autolock lock(mLock);
    addLocked(std::move(completion));
}

void UpdateQueue::addLocked(Item item) {
    mItems.push_back(std::move(item));
    if (mItems.size() == 1) eventfd_write(mFd, 1);
}

std::deque<UpdateQueue::Item> UpdateQueue::removeAll() {
    Mutex::Autolock lock(mLock);
    eventfd_t count = 0;
    eventfd_read(mFd, &count);
    return std::exchange(mItems, {});
}

}  // namespace velora::host
