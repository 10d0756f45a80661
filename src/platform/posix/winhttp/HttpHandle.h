#pragma once

#include "platform/posix/PosixPlatform.h"
#include "platform/posix/winhttp/FifoQueue.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

namespace LumPlatform {

/// A notification on its way to the callback.
struct Notification {
    DWORD status = 0;
    DWORD_PTR context = 0;
    /// DATA_AVAILABLE: the byte count. REQUEST_ERROR: the error number.
    DWORD value = 0;
    /// REQUEST_ERROR: the call that failed.
    DWORD_PTR call = 0;
    /// READ_COMPLETE: the reader's buffer, and how much of it was filled.
    void* buffer = nullptr;
    DWORD length = 0;
};

/// What sessions, connections and requests have in common: a callback, and a queue of notifications that the engine's
/// threads deliver in order and one at a time.
///
/// The callback runs without any lock. The notification that the handle was created is delivered with the first other
/// one, and the one that it is closing is the last.
class HttpHandle : public std::enable_shared_from_this<HttpHandle> {
public:
    enum class Kind { Session, Connection, Request };

    explicit HttpHandle(Kind handleKind) : kind(handleKind) {}
    virtual ~HttpHandle() = default;
    HttpHandle(const HttpHandle&) = delete;
    HttpHandle& operator=(const HttpHandle&) = delete;

    Kind GetKind() const { return kind; }

    /// The value by which the caller names this object; to be set before the handle is handed out.
    void SetValue(HINTERNET newValue) { value = newValue; }

    /// The caller has closed the handle: its value names nothing any more.
    void Invalidate() { isValid = false; }

    /// The open handle of that value if the calling thread runs a callback for it, which keeps it alive; else null.
    static HttpHandle* InCallback(HINTERNET value);

    /// Replaces the callback and returns the one before.
    WINHTTP_STATUS_CALLBACK SetCallback(WINHTTP_STATUS_CALLBACK newCallback, DWORD newMask);

    /// Called by an engine thread when the handle was scheduled.
    void Deliver();

    /// Called by an engine thread before anything of a handle below this one is delivered.
    void DeliverCreated();

    /// Whether the engine will soon have more for this handle, so that it is worth while to deliver on another thread.
    virtual bool IsStreaming() const { return false; }

    /// Called once, when the caller closed the handle.
    virtual void Close() = 0;

    /// The engine's: the next that is to deliver.
    std::shared_ptr<HttpHandle> nextReady;

protected:
    /// Reserves memory for more notifications than wait to be delivered at any time, one that nobody waits for and one
    /// for each step of the owner. So queueing one never fails; it happens on threads that could not tell anybody.
    void ReserveNotifications() { queue.Reserve(kMostNotifications); }

    /// Takes callback and mask over from the parent handle.
    void InheritCallback(HttpHandle& parent);

    /// Queues the notification and sees that it is delivered; the mutex must be held.
    void Notify(Notification notification);

    /// As Notify, for the last notification.
    void NotifyClosing(DWORD_PTR context);

    /// As NotifyClosing, on a thread of the engine: the notification is delivered before the call returns, unless
    /// another thread is at it. The mutex must not be held.
    void DeliverClosing();

    /// Called before the first notification, without the mutex.
    virtual void BeforeCreated() {}

    /// Called after the last notification, without the mutex.
    virtual void OnClosed() {}

    std::mutex mutex;

private:
    using Lock = std::unique_lock<std::mutex>;

    static constexpr std::size_t kMostNotifications = 4;

    struct Listener {
        WINHTTP_STATUS_CALLBACK callback = nullptr;
        DWORD mask = 0;
    };

    void ScheduleOnce();
    void DeliverAll(Lock& lock);
    void DeliverCreated(Lock& lock);
    void DeliverQueued(Lock& lock);
    void DeliverLast(Lock& lock);
    void Call(const Listener& target, const Notification& notification);

    const Kind kind;
    HINTERNET value = nullptr;
    std::atomic<bool> isValid{true};
    Listener listener;
    /// All but the first and the last notification.
    FifoQueue<Notification> queue;
    bool isScheduled = false;
    /// Whether the handle's creation has been announced. A session has a callback only after it was created.
    bool isAnnounced = kind == Kind::Session;
    bool hasClosingNotification = false;
    DWORD_PTR closingContext = 0;
};

} // namespace LumPlatform
