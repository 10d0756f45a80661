#include "platform/posix/winhttp/HttpHandle.h"

#include "platform/posix/winhttp/HttpEngine.h"

namespace LumPlatform {

namespace {

/// After so many notifications in a row another handle has its turn.
constexpr int kNotificationsPerTurn = 64;

} // namespace

WINHTTP_STATUS_CALLBACK HttpHandle::SetCallback(WINHTTP_STATUS_CALLBACK newCallback, DWORD newMask)
{
    const std::lock_guard<std::mutex> lock(mutex);
    const WINHTTP_STATUS_CALLBACK previous = callback;
    callback = newCallback;
    mask = newMask;
    return previous;
}

void HttpHandle::InheritCallback(HttpHandle& parent)
{
    const std::lock_guard<std::mutex> lock(parent.mutex);
    callback = parent.callback;
    mask = parent.mask;
}

void HttpHandle::Notify(Notification notification)
{
    queue.Push(notification);
    if (!isScheduled) {
        HttpEngine::Instance().Schedule(shared_from_this());
        isScheduled = true;
    }
}

void HttpHandle::NotifyLazily(Notification notification)
{
    queue.Push(notification);
}

void HttpHandle::Deliver()
{
    bool isClosed = false;
    std::unique_lock<std::mutex> lock(mutex);
    if (!hasDelivered) {
        hasDelivered = true;
        lock.unlock();
        OnFirstDelivery();
        lock.lock();
    }
    for (int turn = 0; turn < kNotificationsPerTurn && !queue.IsEmpty(); ++turn) {
        const Notification notification = queue.Pop();
        isClosed = isClosed || notification.status == WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING;
        const bool isWanted = callback != nullptr && (mask & notification.status) != 0;
        if (isWanted) {
            const WINHTTP_STATUS_CALLBACK target = callback;
            lock.unlock();
            Call(target, notification);
            lock.lock();
        }
    }
    isScheduled = !queue.IsEmpty();
    if (isScheduled) {
        HttpEngine::Instance().Schedule(shared_from_this());
    }
    lock.unlock();
    if (isClosed) {
        OnClosed();
    }
}

void HttpHandle::Call(WINHTTP_STATUS_CALLBACK target, const Notification& notification) const
{
    switch (notification.status) {
    case WINHTTP_CALLBACK_STATUS_HANDLE_CREATED:
    case WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING: {
        HINTERNET handle = value;
        target(value, notification.context, notification.status, &handle, sizeof(handle));
        break;
    }
    case WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE: {
        DWORD available = notification.value;
        target(value, notification.context, notification.status, &available, sizeof(available));
        break;
    }
    case WINHTTP_CALLBACK_STATUS_REQUEST_ERROR: {
        WINHTTP_ASYNC_RESULT result = {notification.call, notification.value};
        SetLastError(notification.value);
        target(value, notification.context, notification.status, &result, sizeof(result));
        break;
    }
    default:
        target(value, notification.context, notification.status, notification.buffer, notification.length);
        break;
    }
}

} // namespace LumPlatform
