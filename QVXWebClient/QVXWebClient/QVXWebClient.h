#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "QVXWebClient/QVXWebClient/QVXWebClientTransaction.h"
#include "QVXWebClient/QVXWebClient/QVXWebRequest.h"
#include "QVXWebClient/QVXWebClient/QVXWebResponse.h"

namespace qvx {

/// Nothing is asked of a cache yet.
class QVXPersistenceCacheDelegate {
public:
    virtual ~QVXPersistenceCacheDelegate() = default;
};

/// Sends web requests to one base URL, with default headers, and keeps their transactions alive until they
/// have completed.
///
/// The asynchronous sends return at once; the process must run its main run loop, and the completion runs on
/// a thread of the global queue. The synchronous ones run the exchange and the completion on the client's
/// serial queue before they return; such a completion must not enter the same client synchronously again,
/// which stops the process. A client may go away while transactions run: they go on, and their completions
/// run.
class QVXWebClient {
public:
    using Completion = QVXWebClientTransaction::CompletionHandler;

    /// \param url what the paths of requests are resolved against (RFC 3986, section 5.2)
    static std::shared_ptr<QVXWebClient> initWithURL(std::optional<platform::URL> url);

    [[nodiscard]] const std::optional<platform::URL>& URL() const;

    /// Stored and handed back only; not owned.
    [[nodiscard]] QVXPersistenceCacheDelegate* cacheDelegate() const { return cacheDelegate_; }
    void setCacheDelegate(QVXPersistenceCacheDelegate* cacheDelegate) { cacheDelegate_ = cacheDelegate; }

    /// Sets a default header; requests that are sent later carry it unless they have set their own.
    void addValue(std::string_view value, std::string_view forHeader);

    /// \param completion required
    void startRequest(const std::shared_ptr<QVXWebRequest>& request, Completion completion);

    /// As above; a response without an error whose status is not `expectingResponse` gets the error
    /// QVXWebClientUnexpectedStatus.
    /// \param completion may be null
    void startRequest(const std::shared_ptr<QVXWebRequest>& request, uint64_t expectingResponse,
                      Completion completion);

    void syncStartRequest(const std::shared_ptr<QVXWebRequest>& request, const Completion& completion);
    void syncStartRequest(const std::shared_ptr<QVXWebRequest>& request, uint64_t expectingResponse,
                          Completion completion);

    /// Sends a GET for a path relative to the base URL.
    void getPath(std::string_view path, Completion completion);

    /// Sends a GET for an absolute URL.
    void getURL(const platform::URL& url, Completion completion);

    /// Sends a POST with a text field for each entry of `fields`.
    void postFormData(const platform::Dictionary& fields, std::string_view toPath, Completion completion);

    /// Percent-escapes, in UTF-8, all but the unreserved characters. What stands escaped already is escaped
    /// again.
    static std::string escapeURLString(std::string_view text);

    /// The JSON object or array in `data`; absent when it is none.
    static std::optional<platform::Value> decodeJSON(const platform::Data& data);

    /// Not implemented: stops the process by an assertion.
    [[noreturn]] static void encodeJSON(const platform::Value& object);

private:
    struct State;

    explicit QVXWebClient(std::shared_ptr<State> state) : state_(std::move(state)) {}

    std::shared_ptr<State> state_; ///< shared with the transactions that run
    QVXPersistenceCacheDelegate* cacheDelegate_ = nullptr;
};

} // namespace qvx
