#include "platform/http/URLConnection.h"

#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/http/URLExchange.h"
#include "platform/process/RunLoop.h"
#include "platform/process/Thread.h"

namespace qvx::platform {

namespace {

/// The threads that run the asynchronous exchanges. All are ended before the process exits, since libcurl's
/// own libraries clean up at exit, under the feet of whoever still uses them.
class Workers {
public:
    static Workers& shared() {
        static auto* const workers = new Workers;
        return *workers;
    }

    void start(const std::shared_ptr<URLExchangeCanceller>& canceller, std::function<void()> work) {
        const std::lock_guard lock(mutex_);
        // Here and not when a thread ends, since no thread can join itself.
        joinFinished();
        if (exiting_)
            return;
        running_[canceller] = std::thread([this, canceller, work = std::move(work)]() mutable {
            setCurrentThreadName("url-loader");
            work();
            work = nullptr;
            const std::lock_guard ending(mutex_);
            finished_.push_back(std::move(running_.extract(canceller).mapped()));
            ended_.notify_all();
        });
    }

private:
    Workers() {
        // Functions registered last are called first: the libraries must have registered theirs.
        static_cast<void>(CurlLibrary::shared());
        std::atexit([] { shared().endAll(); });
    }

    void endAll() {
        std::unique_lock lock(mutex_);
        exiting_ = true;
        for (const auto& [canceller, thread] : running_)
            canceller->cancel();
        ended_.wait(lock, [this] { return running_.empty(); });
        joinFinished();
    }

    /// To be called with the mutex held, which a thread gives up for good as it finishes.
    void joinFinished() {
        for (std::thread& thread : finished_)
            thread.join();
        finished_.clear();
    }

    std::mutex mutex_;
    std::condition_variable ended_;
    std::map<std::shared_ptr<URLExchangeCanceller>, std::thread> running_;
    std::vector<std::thread> finished_;
    bool exiting_ = false;
};

} // namespace

/// Runs the exchange on a worker and passes on what it tells to the main run loop.
// Keeps its delegate until the end was told, as the platform's connections do: callers may drop theirs at
// once.
struct URLConnection::State : URLExchangeObserver, std::enable_shared_from_this<State> {
    State(URLRequest theRequest, std::shared_ptr<URLConnectionDelegate> theDelegate)
        : request(std::move(theRequest)), delegate(std::move(theDelegate)) {}

    using Message = std::function<void(URLConnectionDelegate&)>;

    void tell(Message message) {
        MainRunLoop::perform([self = shared_from_this(), message = std::move(message)] {
            // A copy, since the delegate may cancel the connection that keeps it alive.
            if (const std::shared_ptr<URLConnectionDelegate> receiver = self->delegate)
                message(*receiver);
        });
    }

    void tellEnd(const std::optional<Error>& error) {
        tell([self = shared_from_this(), error](URLConnectionDelegate& receiver) {
            self->delegate = nullptr;
            if (error)
                receiver.connectionDidFailWithError(error);
            else
                receiver.connectionDidFinishLoading();
        });
    }

    void exchangeNeedsAuthentication(const ProtectionSpace& space) override {
        tell([space](URLConnectionDelegate& receiver) {
            static_cast<void>(receiver.connectionCanAuthenticateAgainstProtectionSpace(space));
        });
    }
    void exchangeDidReceiveResponse(const HTTPURLResponse& response) override {
        tell(
            [response](URLConnectionDelegate& receiver) { receiver.connectionDidReceiveResponse(response); });
    }
    void exchangeDidReceiveData(std::string_view bytes) override {
        tell([data = Data::withBytes(bytes)](URLConnectionDelegate& receiver) {
            receiver.connectionDidReceiveData(data);
        });
    }

    const URLRequest request;
    std::shared_ptr<URLConnectionDelegate>
        delegate; ///< null when nothing is to be told any more; main thread
    const std::shared_ptr<URLExchangeCanceller> canceller = std::make_shared<URLExchangeCanceller>();
};

URLConnection::URLConnection(URLRequest request, std::shared_ptr<URLConnectionDelegate> delegate)
    : state_(std::make_shared<State>(std::move(request), std::move(delegate))) {}

URLConnection::~URLConnection() = default;

void URLConnection::start() {
    Workers::shared().start(state_->canceller, [state = state_] {
        state->tellEnd(URLExchange(state->request, *state, *state->canceller).run());
    });
}

void URLConnection::cancel() {
    state_->canceller->cancel();
    state_->delegate = nullptr;
}

} // namespace qvx::platform
