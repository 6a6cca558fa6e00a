// The queue between the client's threads and the CallProcessor: bounded,
// first in first out, data copied in and out.
#pragma once

#include <cstdint>

#include "common/core_event.h"
#include "common/module.h"
#include "platform/event.h"
#include "platform/recursive_lock.h"

struct MailboxItem {
    MailboxItem* mNext = nullptr;
    std::int32_t mCode = 0;
    std::int32_t mLength = 0;
    std::uint8_t mData[200] = {};
};

struct MailboxQueue {
    MailboxItem* mHead = nullptr;
    MailboxItem* mTail = nullptr;
    std::uint32_t mCount = 0;
};

class Mailbox : public Module {
public:
    static constexpr std::uint32_t kMaxItems = 100;
    static constexpr int kMaxData = 200;

    Mailbox();
    ~Mailbox() override;

    int start() override;
    int shutdown() override;

    // 0 written; 1 refused (not started, full, length outside 1 to 200).
    int write(const CoreEvent* command, const void* data, const int* length);
    // 0 read; 1 nothing to read. `data` has room for 200 bytes.
    int read(CoreEvent* command, void* data, int* length);
    // True as soon as an item is waiting, or wake() was called; false after
    // `timeoutMs` with neither. The reader sleeps here instead of polling.
    bool waitForItem(unsigned timeoutMs);
    // Lets a waiting reader go, to see that it must stop.
    void wake();

private:
    platform::RecursiveLock mLock;
    MailboxQueue* mQueue = nullptr;
    platform::ManualResetEvent mWritten;
};
