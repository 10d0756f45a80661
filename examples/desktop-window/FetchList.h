#pragma once

#include "WindowMailbox.h"

#include "common/networking/ILumAsynchronousHttpClient.h"

#include <cstddef>
#include <string>

namespace LumWindow {

/// How a request stands, as the user reads it.
struct FetchRow {
    std::string url;
    std::string state;
    /// The size of the body, once it is there.
    std::string size;
};

/// The requests of the window. It belongs to the window's thread: completions come on threads of the system, and only
/// post what they got.
class FetchList : public std::enable_shared_from_this<FetchList> {
public:
    using RowChanged = std::function<void(std::size_t index, const FetchRow& row)>;

    FetchList(std::shared_ptr<LumNetworking::ILumAsynchronousHttpClient> httpClient,
              std::shared_ptr<WindowMailbox> windowMailbox, RowChanged rowChanged);

    /// Starts a request, and shows it in a row of its own.
    void Start(const std::string& url);

    /// Cancels the requests of these rows that are under way. One that stalls is shown as cancelled when it ends.
    void Cancel(const std::vector<std::size_t>& indices);

    /// Cancels all that are under way.
    void CancelAll();

private:
    struct Fetch {
        FetchRow row;
        /// Empty unless the request is under way.
        std::shared_ptr<LumNetworking::ILumAsynchronousTransaction> transaction;
    };

    void Finish(std::size_t index, const std::string& state, const std::string& size);
    void Show(std::size_t index) const { changed(index, fetches[index].row); }

    std::shared_ptr<LumNetworking::ILumAsynchronousHttpClient> client;
    std::shared_ptr<WindowMailbox> mailbox;
    RowChanged changed;
    std::vector<Fetch> fetches;
};

} // namespace LumWindow
