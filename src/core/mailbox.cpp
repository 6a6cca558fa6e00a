#include "core/mailbox.h"

#include <cstring>
#include <new>

#include "common/tracer.h"

Mailbox::Mailbox() {
    Tracer::instance()->trace(kTraceStatus, "[MAILBOX] Module created");
}

Mailbox::~Mailbox() {
    shutdown();
    Tracer::instance()->trace(kTraceStatus, "[MAILBOX] Module destroyed");
}

int Mailbox::start() {
    platform::LockGuard guard(mLock);
    Tracer::instance()->trace(kTraceStatus, "[MAILBOX] Module starting");
    if (mQueue != nullptr) return 0;
    mQueue = new (std::nothrow) MailboxQueue();
    if (mQueue == nullptr) {
        Tracer::instance()->trace(kTraceCritical,
                                  "[MAILBOX ::  CRITICAL ERROR] Object creation failed - Mailbox queue");
        return 1;
    }
    return 0;
}

int Mailbox::shutdown() {
    platform::LockGuard guard(mLock);
    if (mQueue == nullptr) return 0;
    MailboxItem* item = mQueue->mCount > 0 ? mQueue->mHead : nullptr;
    while (item != nullptr) {
        MailboxItem* next = item->mNext;
        delete item;
        item = next;
    }
    delete mQueue;
    mQueue = nullptr;
    Tracer::instance()->trace(kTraceStatus, "[MAILBOX] Module shutdown");
    return 0;
}

int Mailbox::write(const CoreEvent* command, const void* data, const int* length) {
    platform::LockGuard guard(mLock);
    if (mQueue == nullptr || mQueue->mCount >= kMaxItems) return 1;
    if (command == nullptr || data == nullptr || length == nullptr) return 1;
    if (*length < 1 || *length > kMaxData) return 1;
    auto* item = new (std::nothrow) MailboxItem();
    if (item == nullptr) return 1;
    item->mCode = command->code;
    item->mLength = *length;
    std::memcpy(item->mData, data, static_cast<std::size_t>(*length));
    if (mQueue->mCount == 0) {
        mQueue->mHead = item;
    } else {
        mQueue->mTail->mNext = item;
    }
    mQueue->mTail = item;
    ++mQueue->mCount;
    mWritten.set();
    return 0;
}

bool Mailbox::waitForItem(unsigned timeoutMs) {
    // Reset before looking: a write after the look sets the event again, so
    // no item is left waiting for the time-out.
    mWritten.reset();
    {
        platform::LockGuard guard(mLock);
        if (mQueue != nullptr && mQueue->mCount > 0) return true;
    }
    return mWritten.wait(timeoutMs);
}

void Mailbox::wake() {
    mWritten.set();
}

int Mailbox::read(CoreEvent* command, void* data, int* length) {
    platform::LockGuard guard(mLock);
    if (mQueue == nullptr || mQueue->mCount == 0) return 1;
    if (mQueue->mHead == nullptr) {
        mQueue->mCount = 0;
        return 1;
    }
    MailboxItem* item = mQueue->mHead;
    if (command != nullptr) command->code = item->mCode;
    if (length != nullptr) *length = item->mLength;
    if (data != nullptr && item->mLength > 0) std::memcpy(data, item->mData, static_cast<std::size_t>(item->mLength));
    mQueue->mHead = item->mNext;
    --mQueue->mCount;
    if (mQueue->mCount == 0) {
        // The tail is not left dangling: the next write starts a new list.
        mQueue->mHead = nullptr;
        mQueue->mTail = nullptr;
    }
    delete item;
    return 0;
}
