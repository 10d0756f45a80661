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
    queue.push_back(notification);
    if (!isScheduled) {
        isScheduled = true;
        HttpEngine::Instance().Schedule(shared_from_this());
    }
}

void HttpHandle::NotifyLazily(Notification notification)
{
    queue.push_back(notification);
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
    for (int turn = 0; turn < kNotificationsPerTurn && delivered < queue.size(); ++turn) {
        const Notification notification = queue[delivered++];
        if (delivered == queue.size()) {
            queue.clear();
            delivered = 0;
        }
        isClosed = notification.status == WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING;
        if (Wants(notification)) {
            lock.unlock();
            Call(notification);
            lock.lock();
        }
    }
    isScheduled = !queue.empty();
    if (isScheduled) {
        HttpEngine::Instance().Schedule(shared_from_this());
    }
    lock.unlock();
    if (isClosed) {
        OnClosed();
    }
}

bool HttpHandle::Wants(const Notification& notification) const
{
    return callback != nullptr && (mask & notification.status) != 0;
}

void HttpHandle::Call(const Notification& notification) const
{
    switch (notification.status) {
    case WINHTTP_CALLBACK_STATUS_HANDLE_CREATED:
    case WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING: {
        HINTERNET handle = value;
        callback(value, notification.context, notification.status, &handle, sizeof(handle));
        break;
    }
    case WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE: {
        DWORD available = notification.value;
        callback(value, notification.context, notification.status, &available, sizeof(available));
        break;
    }
    case WINHTTP_CALLBACK_STATUS_REQUEST_ERROR: {
        WINHTTP_ASYNC_RESULT result = {notification.call, notification.value};
        SetLastError(notification.value);
        callback(value, notification.context, notification.status, &result, sizeof(result));
        break;
    }
    default:
        callback(value, notification.context, notification.status, notification.buffer, notification.length);
        break;
    }
}

} // namespace LumPlatform
