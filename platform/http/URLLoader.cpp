#include "platform/http/URLLoader.h"

#include <string>

#include "platform/http/URLExchange.h"

namespace qvx::platform {

namespace {

/// Keeps all that an exchange tells.
class Collector : public URLExchangeObserver {
public:
    void exchangeNeedsAuthentication(const ProtectionSpace&) override {}
    void exchangeDidReceiveResponse(const HTTPURLResponse& response) override { response_ = response; }
    void exchangeDidReceiveData(std::string_view bytes) override { bytes_ += bytes; }

    URLReply result(std::optional<Error> error) {
        return {std::move(response_), std::move(error), Data::withString(std::move(bytes_))};
    }

private:
    std::optional<HTTPURLResponse> response_;
    std::string bytes_;
};

} // namespace

URLReply sendSynchronousRequest(const URLRequest& request) {
    Collector collector;
    URLExchangeCanceller canceller;
    std::optional<Error> error = URLExchange(request, collector, canceller).run();
    return collector.result(std::move(error));
}

} // namespace qvx::platform
