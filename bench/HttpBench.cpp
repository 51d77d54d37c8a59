#include "Figures.h"
#include "base/async/CommandLoop.h"
#include "base/http/CurlHttpClient.h"
#include "world/LoopbackServer.h"

namespace quillet::bench {

void measureCancelling(Report& report) {
    constexpr int runs = 100;
    CommandLoop loop;
    world::LoopbackServer server;
    CurlHttpClient http;
    Figures figures;
    for (std::size_t i = 1; i <= runs; ++i) {
        server.answer({"HTTP/1.1 200 OK\r\n", world::LoopbackServer::Script::Ending::hang});
        HttpRequest request;
        request.url = server.url("/");
        TaskScope tasks(loop);
        auto task = [&]() -> asio::awaitable<void> {
            (void)co_await http.perform(std::move(request));
        };
        tasks.spawn(task());
        loop.drain();
        server.waitForRequests(i);
        figures.add(timeOf([&] { tasks.cancelAndJoin(); }));
    }
    report.times("speech server: a request under way, cancelled until abandoned", figures,
                 "≤ 20 ms");
}

}  // namespace quillet::bench
