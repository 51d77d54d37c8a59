#include "speech/ModelDownload.h"

#include <gtest/gtest.h>

#include <fstream>

#include "base/async/CommandLoop.h"
#include "base/http/CurlHttpClient.h"
#include "world/FullDisk.h"
#include "world/LoopbackServer.h"
#include "world/PackedModel.h"
#include "world/TemporaryFolder.h"

namespace quillet::world {
namespace {

namespace fs = std::filesystem;
using Ending = LoopbackServer::Script::Ending;

/// A server of this machine that offers a model for English, and the folder of those installed.
class Download : public ::testing::Test {
protected:
    ModelDownload::Result fetch() {
        return loop.run(
            download.run(model, [this](std::uint64_t bytes) { told.push_back(bytes); }));
    }
    /// The head of an answer that announces this many bytes.
    static std::string announcing(std::size_t bytes) {
        return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(bytes) + "\r\n\r\n";
    }
    /// All that lies in the folder of models, also what is hidden.
    [[nodiscard]] std::vector<std::string> left() const {
        std::vector<std::string> names;
        std::error_code ec;
        for (const auto& entry : fs::directory_iterator(models.folder(), ec))
            names.push_back(entry.path().filename());
        return names;
    }

    TemporaryFolder folder;
    LoopbackServer server;
    SpeechModels models{folder.path() / "models"};
    CurlHttpClient http;
    ModelDownload download{{http, std::make_shared<SerialQueue>("models"), models, {}}};
    CommandLoop loop;
    PackedModel packed{folder.path()};
    const std::string& archive = packed.archive;
    OfferedModel model = packed.offered("en", server.url("/model.tar.gz"));
    std::vector<std::uint64_t> told;
};

TEST_F(Download, InstallsWhatWasFetchedAndLeavesNothingElse) {
    server.answer(200, archive);
    const auto installed = fetch();
    ASSERT_TRUE(installed) << installed.error();
    EXPECT_TRUE(models.find("en"));
    EXPECT_EQ(left(), std::vector<std::string>{"en"});
    ASSERT_FALSE(told.empty());
    EXPECT_TRUE(std::ranges::is_sorted(told));
    EXPECT_EQ(told.back(), archive.size());
    EXPECT_EQ(server.requests().at(0).find("Authorization"), std::string::npos);
}

TEST_F(Download, ThatFailsSaysWhyAndLeavesWhatWasThere) {
    server.answer(200, archive);
    ASSERT_TRUE(fetch());
    const auto mark = models.folder() / "en/mine";
    std::ofstream(mark) << "of the first one";
    auto damaged = archive;
    damaged[damaged.size() / 2] ^= 1;
    const std::pair<LoopbackServer::Script, const char*> failures[] = {
        {{announcing(archive.size()) + damaged, Ending::keep}, "damaged"},
        {{announcing(archive.size() + 1) + archive + "x", Ending::keep}, "damaged"},
        {{announcing(archive.size() - 1) + archive.substr(1), Ending::keep}, "damaged"},
        {{announcing(archive.size()) + archive.substr(0, 9'000), Ending::close}, "in the middle"},
        {{announcing(archive.size()) + archive.substr(0, 9'000), Ending::reset}, "in the middle"},
        {{"HTTP/1.1 404 Gone\r\nContent-Length: 4\r\n\r\ngone", Ending::keep}, "HTTP 404"},
        {{"HTTP/1.1 302 Found\r\nLocation: /other\r\nContent-Length: 0\r\n\r\n", Ending::keep},
         "HTTP 302"},
    };
    for (const auto& [script, reason] : failures) {
        server.answer(script);
        const auto failed = fetch();
        ASSERT_FALSE(failed) << reason;
        EXPECT_NE(failed.error().find(reason), std::string::npos) << failed.error();
        EXPECT_TRUE(fs::exists(mark));
        EXPECT_EQ(left(), std::vector<std::string>{"en"}) << reason;
    }
    model.url = "http://127.0.0.1:1/model.zip";
    EXPECT_NE(fetch().error().find("127.0.0.1 cannot be reached"), std::string::npos);

    // What is as it was announced but no model does not take the place of one either.
    const std::string other = "not an archive";
    model = PackedModel::offered(other, "en", server.url("/other"));
    server.answer(200, other);
    EXPECT_NE(fetch().error().find("cannot be unpacked"), std::string::npos);
    EXPECT_EQ(left(), std::vector<std::string>{"en"});
    EXPECT_TRUE(fs::exists(mark));
}

TEST_F(Download, ToAFullDiskLeavesNothing) {
    server.answer(200, archive);
    {
        const FullDisk full(100'000);
        const auto failed = fetch();
        ASSERT_FALSE(failed);
        EXPECT_NE(failed.error().find("cannot be written"), std::string::npos) << failed.error();
    }
    EXPECT_TRUE(left().empty());
}

TEST_F(Download, EndsAtOnceWhenItIsCancelled) {
    server.answer({announcing(archive.size()) + archive.substr(0, 9'000), Ending::hang});
    TaskScope tasks(loop);
    bool hasEnded = false;
    const auto run = [](ModelDownload& of, OfferedModel what, std::vector<std::uint64_t>& progress,
                        bool& ended) -> asio::awaitable<void> {
        (void)co_await of.run(std::move(what),
                              [&progress](std::uint64_t bytes) { progress.push_back(bytes); });
        ended = true;
    };
    auto task = tasks.spawn(run(download, model, told, hasEnded));
    while (told.empty())
        loop.waitAndDrainOne();
    task.cancel();
    tasks.cancelAndJoin();
    EXPECT_FALSE(hasEnded);
    EXPECT_TRUE(left().empty());
}

TEST_F(Download, WhileItIsUnpackedCanBeCancelledToo) {
    std::stop_source stop;
    stop.request_stop();
    EXPECT_FALSE(models.install(packed.file, "en", stop.get_token()));
    EXPECT_FALSE(models.install(packed.folder, "en", stop.get_token()));
    EXPECT_TRUE(left().empty());
}

TEST(ModelCatalogue, IsOursOrThatOfAFile) {
    const auto own = modelCatalogue();
    ASSERT_EQ(own.size(), 2U);
    for (const auto& model : own) {
        EXPECT_TRUE(model.url.starts_with("https://"));
        EXPECT_EQ(model.sha256.size(), 64U);
    }
    const TemporaryFolder folder;
    const auto file = folder.path() / "models.json";
    const std::string checksum(64, 'a');
    std::ofstream(file) << R"([{"language":"de","url":"http://models.example:81/de.zip","bytes":)"
                        << R"(12340000,"sha256":")" << checksum << R"("},)"
                        << R"({"language":"fr","url":"ftp://x","bytes":1,"sha256":"")" << "}]";
    const auto given = modelCatalogue(file);
    ASSERT_EQ(given.size(), 1U) << "one of them cannot be fetched";
    EXPECT_EQ(given[0].language, "de");
    EXPECT_DOUBLE_EQ(given[0].megabytes(), 12.34);
    std::ofstream(file) << "[{}]";
    EXPECT_TRUE(modelCatalogue(file).empty());
    EXPECT_TRUE(modelCatalogue(folder.path() / "none").empty());
}

}  // namespace
}  // namespace quillet::world
