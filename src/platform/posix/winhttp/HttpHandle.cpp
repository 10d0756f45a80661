#include "platform/posix/winhttp/HttpHandle.h"

#include "platform/posix/winhttp/HttpEngine.h"

namespace LumPlatform {

namespace {

/// After so many notifications in a row another handle has its turn.
constexpr int kNotificationsPerTurn = 64;

/// The handle whose callback the thread runs.
thread_local HttpHandle* calledHandle = nullptr;

} // namespace

WINHTTP_STATUS_CALLBACK HttpHandle::SetCallback(WINHTTP_STATUS_CALLBACK newCallback, DWORD newMask)
{
    const std::lock_guard<std::mutex> lock(mutex);
    const WINHTTP_STATUS_CALLBACK previous = listener.callback;
    listener = {newCallback, newMask};
    return previous;
}

void HttpHandle::InheritCallback(HttpHandle& parent)
{
    const std::lock_guard<std::mutex> lock(parent.mutex);
    listener = parent.listener;
}

void HttpHandle::Notify(Notification notification)
{
    queue.Push(notification);
    ScheduleOnce();
}

void HttpHandle::NotifyClosing(DWORD_PTR context)
{
    hasClosingNotification = true;
    closingContext = context;
    ScheduleOnce();
}

void HttpHandle::DeliverClosing()
{
    Lock lock(mutex);
    hasClosingNotification = true;
    if (!isScheduled) {
        isScheduled = true;
        DeliverAll(lock);
    }
}

void HttpHandle::ScheduleOnce()
{
    if (!isScheduled) {
        HttpEngine::Instance().Schedule(shared_from_this());
        isScheduled = true;
    }
}

void HttpHandle::Deliver()
{
    Lock lock(mutex);
    DeliverAll(lock);
}

void HttpHandle::DeliverAll(Lock& lock)
{
    DeliverCreated(lock);
    DeliverQueued(lock);
    isScheduled = !queue.IsEmpty();
    if (isScheduled) {
        HttpEngine::Instance().Schedule(shared_from_this());
    } else if (hasClosingNotification) {
        DeliverLast(lock);
    }
}

void HttpHandle::DeliverCreated()
{
    Lock lock(mutex);
    DeliverCreated(lock);
}

void HttpHandle::DeliverCreated(Lock& lock)
{
    if (isAnnounced) {
        return;
    }
    isAnnounced = true;
    const Listener target = listener;
    lock.unlock();
    BeforeCreated();
    Call(target, {WINHTTP_CALLBACK_STATUS_HANDLE_CREATED, 0});
    lock.lock();
}

void HttpHandle::DeliverQueued(Lock& lock)
{
    for (int turn = 0; turn < kNotificationsPerTurn && !queue.IsEmpty(); ++turn) {
        const Notification notification = queue.Pop();
        const Listener target = listener;
        lock.unlock();
        Call(target, notification);
        lock.lock();
    }
}

void HttpHandle::DeliverLast(Lock& lock)
{
    hasClosingNotification = false;
    const Listener target = listener;
    lock.unlock();
    Call(target, {WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING, closingContext});
    OnClosed();
}

HttpHandle* HttpHandle::InCallback(HINTERNET value)
{
    const bool isOpen = calledHandle != nullptr && calledHandle->value == value && calledHandle->isValid;
    return isOpen ? calledHandle : nullptr;
}

void HttpHandle::Call(const Listener& target, const Notification& notification)
{
    if (target.callback == nullptr || (target.mask & notification.status) == 0) {
        return;
    }
    calledHandle = this;
    switch (notification.status) {
    case WINHTTP_CALLBACK_STATUS_HANDLE_CREATED:
    case WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING: {
        HINTERNET handle = value;
        target.callback(value, notification.context, notification.status, &handle, sizeof(handle));
        break;
    }
    case WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE: {
        DWORD available = notification.value;
        target.callback(value, notification.context, notification.status, &available, sizeof(available));
        break;
    }
    case WINHTTP_CALLBACK_STATUS_REQUEST_ERROR: {
        WINHTTP_ASYNC_RESULT result = {notification.call, notification.value};
        SetLastError(notification.value);
        target.callback(value, notification.context, notification.status, &result, sizeof(result));
        break;
    }
    default:
        target.callback(value, notification.context, notification.status, notification.buffer, notification.length);
        break;
    }
    calledHandle = nullptr;
}

} // namespace LumPlatform
