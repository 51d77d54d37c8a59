#include <fmt/format.h>

#include "Figures.h"
#include "WatchedLoop.h"
#include "world/World.h"

namespace quillet::bench {

namespace {

using namespace std::chrono_literals;

/// Ten seconds of speech, then a pause; as long as asked.
void speak(world::World& world, std::chrono::minutes time) {
    for (auto spoken = 0s; spoken < time; spoken += 13s) {
        world.say("words of a long text", 10s);
        world.silence(3s);
    }
}

}  // namespace

/// An hour of live writing on the virtual clock, with the real controller, engine and stores.
void measureLive(Report& report) {
    world::World world;
    world.useServer();
    world.server.respond = [&world](const HttpRequest&) {
        world.server.requests.clear();
        return world::ScriptedServer::Scripted{500ms, 200, R"({"text": "words of a long text"})"};
    };
    world.tap({Modifier::function, Modifier::control, Modifier::command});
    speak(world, 10min);
    const double early = residentMemory();
    const auto took = timeOf([&] { speak(world, 50min); });
    const double late = residentMemory();
    world.tap(world::fnCtrl);
    world.settle();
    report.figure("live writing: memory after 10 min, growth until 60 min",
                  fmt::format("{:.0f} MiB, {:+.1f} MiB", early, late - early), "flat");
    report.figure("live writing: processor time for a minute of speech",
                  fmt::format("{:.0f} ms", took.count() / 50), "");
    report.figure("live writing: characters written in the hour",
                  std::to_string(world.field().size()), "");
}

}  // namespace quillet::bench
