#pragma once

#include "platform/posix/PosixPlatform.h"
#include "platform/posix/winhttp/FifoQueue.h"

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
    HttpHandle() = default;
    virtual ~HttpHandle() = default;
    HttpHandle(const HttpHandle&) = delete;
    HttpHandle& operator=(const HttpHandle&) = delete;

    /// The value by which the caller names this object; to be set before the handle is handed out.
    void SetValue(HINTERNET newValue) { value = newValue; }

    /// Replaces the callback and returns the one before.
    WINHTTP_STATUS_CALLBACK SetCallback(WINHTTP_STATUS_CALLBACK newCallback, DWORD newMask);

    /// Called by an engine thread when the handle was scheduled.
    void Deliver();

    /// Whether the engine will soon have more for this handle, so that it is worth while to deliver on another thread.
    virtual bool IsStreaming() const { return false; }

    /// Called once, when the caller closed the handle.
    virtual void Close() = 0;

protected:
    /// Takes callback and mask over from the parent handle.
    void InheritCallback(HttpHandle& parent);

    /// Queues the notification and sees that it is delivered; the mutex must be held.
    void Notify(Notification notification);

    /// As Notify, for a notification that waits until another is delivered.
    void NotifyLazily(Notification notification);

    /// Called before the first notification, without the mutex.
    virtual void OnFirstDelivery() {}

    /// Called after the last notification, without the mutex.
    virtual void OnClosed() {}

    std::mutex mutex;

private:
    void Call(WINHTTP_STATUS_CALLBACK target, const Notification& notification) const;

    HINTERNET value = nullptr;
    WINHTTP_STATUS_CALLBACK callback = nullptr;
    DWORD mask = 0;
    FifoQueue<Notification> queue;
    bool isScheduled = false;
    bool hasDelivered = false;
};

} // namespace LumPlatform
