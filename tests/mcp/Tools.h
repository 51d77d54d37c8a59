#pragma once

#include <fstream>
#include <nlohmann/json.hpp>

#include "app/AgentAccess.h"
#include "audio/AudioFile.h"
#include "mcp/MCPTools.h"
#include "world/Night.h"

namespace quillet::world {

/// The tools for AI clients with everything that is behind them.
class Tools : public ::testing::Test {
protected:
    using Result = MCPTools::Result;
    using json = nlohmann::json;

    Result call(std::string_view name, const json& arguments = json::object()) {
        return read(world.await(tools.callTool(name, arguments)));
    }
    /// With its text as a client reads it.
    static Result read(Result result) {
        if (std::exchange(result.isQuoted, false))
            result.text = json::parse(result.text).get<std::string>();
        return result;
    }
    json ask(std::string_view name, const json& arguments = json::object()) {
        const auto result = call(name, arguments);
        EXPECT_FALSE(result.isError) << result.text;
        return json::parse(result.text, nullptr, false);
    }
    std::string text(std::string_view name, const json& arguments = json::object()) {
        const auto result = call(name, arguments);
        EXPECT_FALSE(result.isError) << result.text;
        return result.text;
    }
    std::string refusal(std::string_view name, const json& arguments = json::object()) {
        const auto result = call(name, arguments);
        EXPECT_TRUE(result.isError) << result.text;
        return result.text;
    }
    /// A call that ends later.
    std::shared_ptr<std::optional<Result>> begin(std::string_view name,
                                                 const json& arguments = {}) {
        return night.begin(tools.callTool(name, arguments));
    }
    void write(const std::string& name, const std::string& content) {
        std::filesystem::create_directories(night.file(name.c_str()).parent_path());
        std::ofstream(night.file(name.c_str())) << content;
    }
    static std::vector<std::string> ids(const json& list) {
        std::vector<std::string> found;
        for (const auto& one : list)
            found.push_back(one.at("id"));
        return found;
    }

    std::function<void(const std::stop_token& stop)> whileDecoding;
    Night night;
    World& world = night.world;
    AgentAccess access{{world.loop, world.scheduler, world.calendar, *world.settings,
                        *world.session, *world.archive, world.transcriber, *world.speechClient,
                        *world.vocabulary, world.queue,
                        [this](const FileDescriptor& file, std::chrono::seconds longest,
                               const std::stop_token& stop) {
                            if (whileDecoding)
                                whileDecoding(stop);
                            return readAudioFile(file, longest);
                        },
                        world.log, [] { return std::vector<std::string>(); }}};
    MCPTools tools{{world.loop, world.scheduler, world.loop, world.calendar, *world.settings,
                    *world.store, *world.vocabulary, *night.notes, *night.reviewer, *night.keeper,
                    access}};
};

}  // namespace quillet::world
