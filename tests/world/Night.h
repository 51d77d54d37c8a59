#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

#include "meetings/MeetingLibrary.h"
#include "memory/KnowledgeKeeper.h"
#include "memory/NightlyReviewer.h"
#include "world/World.h"

namespace quillet::world {

/// The real review and knowledge base beside the real controller and stores, at night.
class Night {
public:
    Night() {
        world.useModel("raw");
        open();
    }
    ~Night() { close(); }

    void open();
    void close();
    /// Ends the program without a word, as a kill does, and starts it again.
    void crashAndRestart();

    /// Something that was dictated, now.
    std::string log(const std::string& heard, const std::string& sent,
                    const std::string& bundleID = "org.example.mail");

    NightlyReviewer::Reviewed review() { return world.await(reviewer->run()); }
    [[nodiscard]] const NightlyReview::State& state() const { return reviewer->state(); }
    [[nodiscard]] bool knows(std::string heard, std::string written) {
        return world.await(world.vocabulary->contains(std::move(heard), std::move(written)));
    }
    /// Begins something that ends later.
    template <class T>
    std::shared_ptr<std::optional<T>> begin(asio::awaitable<T> task) {
        auto result = std::make_shared<std::optional<T>>();
        auto run = [](auto awaited, auto kept) -> asio::awaitable<void> {
            kept->emplace(co_await std::move(awaited));
        };
        tasks->spawn(run(std::move(task), result));
        return result;
    }
    [[nodiscard]] std::filesystem::path file(const char* name) const {
        return world.folder.path() / name;
    }

    World world;
    std::unique_ptr<MeetingLibrary> notes;
    std::unique_ptr<NightlyReviewer> reviewer;
    std::unique_ptr<KnowledgeKeeper> keeper;
    std::unique_ptr<TaskScope> tasks;
};

}  // namespace quillet::world
