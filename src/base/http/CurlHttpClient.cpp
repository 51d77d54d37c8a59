#include "base/http/CurlHttpClient.h"

#include <curl/curl.h>
#include <fmt/format.h>
#include <pthread.h>

#include <asio/associated_cancellation_slot.hpp>
#include <asio/associated_executor.hpp>
#include <asio/async_result.hpp>
#include <asio/post.hpp>
#include <asio/prefer.hpp>
#include <asio/use_awaitable.hpp>
#include <atomic>
#include <mutex>
#include <thread>
#include <unordered_map>

#include "base/http/Url.h"

namespace quillet {

namespace {

using Done = std::move_only_function<void(HttpClient::Result)>;
using TransferId = std::uint64_t;

constexpr long connectTimeoutMs = 10'000;
constexpr long mostConnections = 16;
/// A day: whoever wants something of the thread wakes it.
constexpr int longestPollMs = 86'400'000;
constexpr std::chrono::milliseconds prewarmTimeout{10'000};

HttpError errorOf(CURLcode code) {
    HttpError error;
    error.message = curl_easy_strerror(code);
    // Every other code of the library means that the host was not reached.
    if (code == CURLE_OPERATION_TIMEDOUT)
        error.kind = HttpError::Kind::timedOut;
    else if (code == CURLE_URL_MALFORMAT || code == CURLE_UNSUPPORTED_PROTOCOL)
        error.kind = HttpError::Kind::badUrl;
    else if (code == CURLE_WRITE_ERROR || code == CURLE_FILESIZE_EXCEEDED)
        error.kind = HttpError::Kind::tooLarge;
    else if (code == CURLE_PARTIAL_FILE || code == CURLE_RECV_ERROR || code == CURLE_SEND_ERROR ||
             code == CURLE_GOT_NOTHING || code == CURLE_WEIRD_SERVER_REPLY || code == CURLE_HTTP2 ||
             code == CURLE_HTTP2_STREAM)
        error.kind = HttpError::Kind::broken;
    return error;
}

bool isOneLine(const std::pair<std::string, std::string>& header) {
    const auto isText = [](unsigned char c) { return c >= ' ' || c == '\t'; };
    return std::ranges::all_of(header.first, isText) && std::ranges::all_of(header.second, isText);
}

HttpError cancelledError() {
    return {HttpError::Kind::cancelled, "cancelled"};
}

struct Transfer {
    TransferId id = 0;
    CURL* easy = nullptr;
    curl_slist* headers = nullptr;
    HttpRequest request;  // its body must live as long as the transfer
    HttpResponse response;
    std::size_t received = 0;  // bytes of the body
    Done done;

    Transfer() = default;
    ~Transfer() { curl_slist_free_all(headers); }
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;
};

std::size_t receiveBody(char* data, std::size_t, std::size_t size, void* context) noexcept {
    auto& transfer = *static_cast<Transfer*>(context);
    transfer.received += size;
    if (transfer.received > transfer.request.largestAnswer)
        return 0;
    const std::string_view piece(data, size);
    if (transfer.request.onBody)
        return transfer.request.onBody(piece) ? size : 0;
    transfer.response.body += piece;
    return size;
}

std::size_t receiveHeader(char* data, std::size_t, std::size_t size, void* context) noexcept {
    const std::string_view line(data, size);
    const auto colon = line.find(':');
    if (colon != std::string_view::npos) {
        auto value = line.substr(colon + 1);
        while (!value.empty() && (value.front() == ' ' || value.front() == '\t'))
            value.remove_prefix(1);
        while (!value.empty() && (value.back() == '\r' || value.back() == '\n'))
            value.remove_suffix(1);
        static_cast<Transfer*>(context)->response.headers.emplace_back(line.substr(0, colon),
                                                                       value);
    }
    return size;
}

}  // namespace

/// The thread and what it works on.
class CurlHttpClient::Engine {
public:
    Engine() : multi_(curl_multi_init()) {
        curl_multi_setopt(multi_, CURLMOPT_MAXCONNECTS, mostConnections);
        curl_multi_setopt(multi_, CURLMOPT_PIPELINING, CURLPIPE_NOTHING);
        thread_ = std::thread([this] { run(); });
        pthread_setname_np(thread_.native_handle(), "http");
    }

    ~Engine() {
        {
            const std::scoped_lock lock(mutex_);
            ending_ = true;
        }
        curl_multi_wakeup(multi_);
        thread_.join();
        for (auto* easy : idle_)
            curl_easy_cleanup(easy);
        curl_multi_cleanup(multi_);
    }

    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    TransferId nextId() { return nextId_.fetch_add(1); }

    void start(TransferId id, HttpRequest request, Done done) {
        auto transfer = std::make_unique<Transfer>();
        transfer->id = id;
        transfer->request = std::move(request);
        transfer->done = std::move(done);
        {
            const std::scoped_lock lock(mutex_);
            starting_.emplace_back(id, std::move(transfer));
        }
        curl_multi_wakeup(multi_);
    }

    void cancel(TransferId id) {
        {
            const std::scoped_lock lock(mutex_);
            cancelling_.push_back(id);
        }
        curl_multi_wakeup(multi_);
    }

private:
    void run() {
        while (takeQueue()) {
            int running = 0;
            curl_multi_perform(multi_, &running);
            finishDone();
            curl_multi_poll(multi_, nullptr, 0, longestPollMs, nullptr);
        }
        while (!active_.empty())
            end(active_.begin()->first, std::unexpected(cancelledError()));
    }

    /// False when the thread is to end.
    bool takeQueue() {
        std::vector<std::pair<TransferId, std::unique_ptr<Transfer>>> starting;
        std::vector<TransferId> cancelling;
        bool ending = false;
        {
            const std::scoped_lock lock(mutex_);
            starting.swap(starting_);
            cancelling.swap(cancelling_);
            ending = ending_;
        }
        for (auto& [id, transfer] : starting)
            begin(id, std::move(transfer));
        for (const auto id : cancelling)
            end(id, std::unexpected(cancelledError()));
        return !ending;
    }

    void begin(TransferId id, std::unique_ptr<Transfer> transfer) {
        Transfer& t = *transfer;
        t.easy = takeHandle();
        configure(t);
        curl_easy_setopt(t.easy, CURLOPT_PRIVATE, &t);
        active_[id] = std::move(transfer);
        curl_multi_add_handle(multi_, t.easy);
    }

    static void configure(Transfer& t) {
        const auto& request = t.request;
        CURL* easy = t.easy;
        curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
        curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
        curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(easy, CURLOPT_TCP_NODELAY, 1L);
        curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
        // A name that takes seconds to resolve must not hold up a cancelled request.
        curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);
        // One upload at a time gains nothing from HTTP/2, whose early answers this library's
        // version mishandles.
        curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1});
        curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, connectTimeoutMs);
        curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, static_cast<long>(request.timeout.count()));
        if (request.stallTimeout.count() > 0) {
            curl_easy_setopt(easy, CURLOPT_LOW_SPEED_LIMIT, 1L);
            curl_easy_setopt(easy, CURLOPT_LOW_SPEED_TIME,
                             static_cast<long>(request.stallTimeout.count()));
        }
        curl_easy_setopt(easy, CURLOPT_USERAGENT, "Quillet");
        curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &receiveBody);
        curl_easy_setopt(easy, CURLOPT_WRITEDATA, &t);
        curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &receiveHeader);
        curl_easy_setopt(easy, CURLOPT_HEADERDATA, &t);
        for (const auto& [name, value] : request.headers)
            t.headers = curl_slist_append(t.headers, fmt::format("{}: {}", name, value).c_str());
        // Without this the library may wait a second for a "100 Continue".
        t.headers = curl_slist_append(t.headers, "Expect:");
        curl_easy_setopt(easy, CURLOPT_HTTPHEADER, t.headers);
        if (request.method == "HEAD") {
            curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
        } else if (request.body || request.method == "POST") {
            static const std::string nothing;
            const std::string& body = request.body ? *request.body : nothing;
            curl_easy_setopt(easy, CURLOPT_POST, 1L);
            curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE,
                             static_cast<curl_off_t>(body.size()));
            curl_easy_setopt(easy, CURLOPT_POSTFIELDS, body.data());
        }
        if (request.method != "GET" && request.method != "POST" && request.method != "HEAD")
            curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request.method.c_str());
    }

    void finishDone() {
        int left = 0;
        while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
            if (message->msg != CURLMSG_DONE)
                continue;
            void* tag = nullptr;
            curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &tag);
            Transfer& transfer = *static_cast<Transfer*>(tag);
            const auto id = transfer.id;
            const CURLcode code = message->data.result;
            if (code != CURLE_OK) {
                end(id, std::unexpected(errorOf(code)));
                continue;
            }
            HttpResponse response = std::move(transfer.response);
            curl_easy_getinfo(message->easy_handle, CURLINFO_RESPONSE_CODE, &response.status);
            end(id, std::move(response));
        }
    }

    void end(TransferId id, Result result) {
        const auto node = active_.extract(id);
        if (node.empty())
            return;
        Transfer& t = *node.mapped();
        curl_multi_remove_handle(multi_, t.easy);
        curl_easy_reset(t.easy);
        idle_.push_back(t.easy);
        t.done(std::move(result));
    }

    CURL* takeHandle() {
        if (idle_.empty())
            return curl_easy_init();
        CURL* easy = idle_.back();
        idle_.pop_back();
        return easy;
    }

    CURLM* multi_;
    std::atomic<TransferId> nextId_{1};

    std::mutex mutex_;
    std::vector<std::pair<TransferId, std::unique_ptr<Transfer>>> starting_;  // guarded by mutex_
    std::vector<TransferId> cancelling_;                                      // guarded by mutex_
    bool ending_ = false;                                                     // guarded by mutex_

    std::unordered_map<TransferId, std::unique_ptr<Transfer>> active_;  // the thread's own
    std::vector<CURL*> idle_;                                           // the thread's own
    std::thread thread_;
};

CurlHttpClient::CurlHttpClient() : engine_(std::make_unique<Engine>()) {}

CurlHttpClient::~CurlHttpClient() = default;

asio::awaitable<HttpClient::Result> CurlHttpClient::perform(HttpRequest request) {
    if (!std::ranges::all_of(request.headers, isOneLine))
        co_return std::unexpected(
            HttpError{HttpError::Kind::badHeader, "The key or another header holds a line break"});
    if (!parseUrl(request.url)) {
        HttpError error{HttpError::Kind::badUrl, "not an http or https address"};
        co_return std::unexpected(std::move(error));
    }
    auto start = [engine = engine_.get()](auto handler, HttpRequest rq) {
        auto slot = asio::get_associated_cancellation_slot(handler);
        auto ex = asio::prefer(asio::get_associated_executor(handler),
                               asio::execution::outstanding_work.tracked);
        const auto id = engine->nextId();
        // Before the start: the handler may run, and the slot be gone, at once.
        if (slot.is_connected())
            slot.assign([engine, id](asio::cancellation_type) { engine->cancel(id); });
        engine->start(id, std::move(rq), [h = std::move(handler), ex](Result result) mutable {
            asio::post(ex, [h = std::move(h), result = std::move(result)]() mutable {
                std::move(h)(std::move(result));
            });
        });
    };
    co_return co_await asio::async_initiate<const asio::use_awaitable_t<>, void(Result)>(
        std::move(start), asio::use_awaitable, std::move(request));
}

void CurlHttpClient::prewarm(std::string_view url) {
    const auto parsed = parseUrl(url);
    if (!parsed)
        return;
    HttpRequest request;
    request.method = "HEAD";
    request.url = parsed->origin() + "/";
    request.timeout = prewarmTimeout;
    engine_->start(engine_->nextId(), std::move(request), [](const Result&) {});
}

}  // namespace quillet
