#pragma once

#include <array>
#include <atomic>
#include <optional>
#include <string>
#include <string_view>

#include "platform/http/CurlLibrary.h"
#include "platform/http/SocketActivity.h"
#include "platform/http/URLError.h"
#include "platform/http/URLRedirect.h"
#include "platform/http/URLReplyHead.h"
#include "platform/http/URLRequest.h"
#include "platform/http/URLRequestBody.h"

namespace qvx::platform {

/// Hears what an exchange has to tell, on the thread that runs it.
class URLExchangeObserver {
public:
    virtual ~URLExchangeObserver() = default;
    virtual void exchangeNeedsAuthentication(const ProtectionSpace& space) = 0;
    virtual void exchangeDidReceiveResponse(const HTTPURLResponse& response) = 0;
    virtual void exchangeDidReceiveData(std::string_view bytes) = 0;
};

/// Ends an exchange that another thread runs or is about to run, within a second.
class URLExchangeCanceller {
public:
    void cancel() { cancelled_ = true; }
    [[nodiscard]] bool isCancelled() const { return cancelled_; }

private:
    std::atomic<bool> cancelled_ = false;
};

/// One HTTP exchange with all its redirects, carried out on the calling thread by the rules of
/// `sendSynchronousRequest`.
class URLExchange {
public:
    /// All three must outlive the exchange.
    URLExchange(const URLRequest& request, URLExchangeObserver& observer,
                const URLExchangeCanceller& canceller);
    URLExchange(const URLExchange&) = delete;
    URLExchange& operator=(const URLExchange&) = delete;

    /// Returns when the exchange has ended: nothing, or what it failed with. To be called once.
    [[nodiscard]] std::optional<Error> run();

private:
    std::optional<Error> refusal() const;
    std::optional<Error> open();
    std::optional<Error> performHop();

    void setCallbacks();
    void setTransfer();
    void setSecurity();
    void setHop();
    CurlList headerList();
    bool sendsHeader(std::string_view name, std::string_view value) const;
    template <class T>
    void set(CURLoption option, const char* name, T value);
    template <class T>
    bool setWhereKnown(CURLoption option, const char* name, T value);

    bool headEnded();
    static size_t headerCallback(char* bytes, size_t size, size_t count, void* exchange);
    static size_t dataCallback(char* bytes, size_t size, size_t count, void* exchange);
    static int progressCallback(void* exchange, curl_off_t, curl_off_t, curl_off_t, curl_off_t);
    static CURLcode handshakeCallback(CURL* easy, void* context, void* exchange);
    [[nodiscard]] ProtectionSpace protectionSpace(bool serverTrust) const;

    const URLRequest& request_;
    URLExchangeObserver& observer_;
    const URLExchangeCanceller& canceller_;
    const CurlLibrary* curl_ = nullptr;

    SocketActivity activity_; // before the handle, which closes its sockets through it
    URLRequestBody body_;
    std::array<char, CURL_ERROR_SIZE> detail_{};
    CurlList headers_;
    CurlHandle easy_;

    std::optional<URLHop> hop_;
    std::optional<URLHop> next_;          ///< where the reply that is being read redirects to
    std::optional<URLErrorCode> failure_; ///< why a callback stopped the transfer
    std::string refusedOption_;           ///< that libcurl did not take; empty when there is none
    URLReplyHead head_;
    size_t dataSize_ = 0;
    int redirects_ = 0;
};

} // namespace qvx::platform
