#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "QVXWebClient/QVXWebClient/QVXWebRequest.h"
#include "QVXWebClient/QVXWebClient/QVXWebResponse.h"
#include "platform/http/URLConnection.h"
#include "platform/process/DispatchQueue.h"

namespace qvx {

/// The domain of the errors that the web client makes itself, and their codes.
inline constexpr const char* QVXWebClientErrorDomain = "QVXWebClientErrorDomain";
inline constexpr int QVXWebClientUnexpectedStatus = -1;
inline constexpr int QVXWebClientAuthenticationImpossible = -2;

/// An error of that domain, with the platform's text for one without further information.
platform::Error QVXWebClientError(int code);

/// Carries out one HTTP exchange and calls its completion handler exactly once. To be started once, in one of
/// the two forms. Transport failures and undecodable property lists end up in the response's `error`; an HTTP
/// error status is none.
class QVXWebClientTransaction : public platform::URLConnectionDelegate,
                                public std::enable_shared_from_this<QVXWebClientTransaction> {
public:
    using CompletionHandler = std::function<void(const std::shared_ptr<QVXWebResponse>&)>;

    static std::shared_ptr<QVXWebClientTransaction>
    transactionWithRequest(std::shared_ptr<QVXWebRequest> request);
    static std::shared_ptr<QVXWebClientTransaction> initWithRequest(std::shared_ptr<QVXWebRequest> request);

    /// The asynchronous form: returns at once. The handler runs on the transaction's queue, and only when the
    /// process runs its main run loop. JSON and property-list bodies are decoded by content type.
    void startWithCompletionHandler(CompletionHandler handler);

    /// The synchronous form: the exchange and the handler run on the calling thread, without a run loop. The
    /// body is always the raw data.
    void syncStartWithCompletionHandler(CompletionHandler handler);

    /// Called once at completion, then absent. Set by either start.
    [[nodiscard]] const CompletionHandler& completionHandler() const { return completionHandler_; }
    void setCompletionHandler(CompletionHandler handler) { completionHandler_ = std::move(handler); }

    void connectionDidReceiveResponse(const platform::HTTPURLResponse& response) override;
    void connectionDidReceiveData(const platform::Data& data) override;
    void connectionDidFailWithError(const std::optional<platform::Error>& error) override;
    void connectionDidFinishLoading() override;

    /// For a server trust: the answer of the request's handler, false without one. Any other space ends the
    /// exchange with the error QVXWebClientAuthenticationImpossible.
    bool connectionCanAuthenticateAgainstProtectionSpace(
        const std::optional<platform::ProtectionSpace>& space) override;

private:
    enum class ContentType { other, propertyList, json };

    explicit QVXWebClientTransaction(std::shared_ptr<QVXWebRequest> request);

    void startConnection();
    void syncStartConnection();
    std::optional<platform::Value> objectFromReceivedData();
    void complete();

    const std::shared_ptr<QVXWebRequest> request_;
    const std::shared_ptr<QVXWebResponse> response_ = std::make_shared<QVXWebResponse>();
    ContentType contentType_ = ContentType::other;
    std::unique_ptr<platform::URLConnection> connection_;
    const platform::DispatchQueue queue_{"com.quorvex.web-transaction"};
    CompletionHandler completionHandler_;
};

} // namespace qvx
