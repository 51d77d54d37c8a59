#include <sys/stat.h>
#include <unistd.h>

#include "Tools.h"
#include "mcp/OpenAudioFile.h"
#include "mcp/ToolTime.h"

namespace quillet::world {
namespace {

using nlohmann::json;

class Transcribing : public Tools {
protected:
    Transcribing() {
        EXPECT_TRUE(world.await(world.vocabulary->learn("get hub", "GitHub", 1, "manual")));
    }
    void keep(const std::string& id, std::optional<std::string> text, const std::string& words) {
        const auto spool = world.archive->beginSpool(id, "en");
        spool->append(world.words.speak(words, 32'000));
        EXPECT_TRUE(world.await(spool->keep(std::move(text))));
    }
    std::string path(const std::string& name) { return night.file(name.c_str()).string(); }
};

TEST_F(Transcribing, OfKeptRecordingsIsDoneAgain) {
    EXPECT_EQ(text("list_recordings"), "[]");
    keep("old", "too old", "x");
    world.pass(std::chrono::hours(24 * 7) - 1s);
    keep("heard", "it was heard", "heard");
    keep("unheard", std::nullopt, "look at get hub");
    world.pass(2s);
    keep("silent", std::nullopt, "");
    const auto time = isoText(world.calendar.now());
    const auto all = ask("list_recordings");
    ASSERT_EQ(all.size(), 3);
    EXPECT_EQ(all[0], (json{{"id", "silent"}, {"time", time}, {"seconds", 2.0}}));
    EXPECT_EQ((std::set<std::string>{all[1]["id"], all[2]["id"]}),
              (std::set<std::string>{"heard", "unheard"}));

    EXPECT_EQ(text("transcribe_recording", {{"id", "unheard"}}), "look at GitHub");
    EXPECT_EQ(world.archive->item("unheard")->text, "look at get hub") << "need not be done again";
    EXPECT_EQ(refusal("transcribe_recording", {{"id", "silent"}}),
              "No speech was recognised in it");
    for (const std::string unknown : {"", "old", "../sessions", "x"})
        EXPECT_EQ(refusal("transcribe_recording", {{"id", unknown}}),
                  "No such recording — see list_recordings");
    world.transcriber.failure = OnDeviceTranscriber::Failure::unavailable;
    EXPECT_TRUE(refusal("transcribe_recording", {{"id", "unheard"}})
                    .starts_with("On-device recognition failed: "));
}

TEST_F(Transcribing, OfAFileIsDoneOnTheDevice) {
    write("talk.wav", encodeWav(world.words.speak("use get hub", 16'000)));
    EXPECT_EQ(text("transcribe_file", {{"path", path("talk.wav")}}), "use GitHub");
    // Of the containers only those that are called audio files: others lead to other files.
    write("sound.wav", std::string(".snd\0\0\0\x18\0\0\0\x40\0\0\0\3\0\0\x3e\x80\0\0\0\1", 24) +
                           std::string(64, 'x'));
    EXPECT_EQ(refusal("transcribe_file", {{"path", path("sound.wav")}}),
              "The file can't be transcribed: This is not an audio file that can be read.");
    EXPECT_EQ(refusal("transcribe_file"), "Give an absolute path");
}

TEST_F(Transcribing, OfAFileIsLeftToTheServer) {
    world.useServer();
    world.keychain.secrets["sttAPIKey"] = "key";
    write("note.opus", "OggS bytes");
    world.server.answer(200, R"({"text": "see get hub"})");
    EXPECT_EQ(text("transcribe_file", {{"path", path("note.opus")}}), "see GitHub");
    const auto& body = *world.server.requests.back().body;
    EXPECT_TRUE(
        body.contains("filename=\"audio.ogg\"\r\nContent-Type: audio/ogg\r\n\r\nOggS bytes\r\n"))
        << body;
    world.server.answer(413, "");
    EXPECT_EQ(refusal("transcribe_file", {{"path", path("note.opus")}}),
              "Speech server failed: STT server returned HTTP 413.");
    world.server.answer(200, R"({"text": "…"})");
    EXPECT_EQ(refusal("transcribe_file", {{"path", path("note.opus")}}),
              "No speech was recognised in it");
}

TEST_F(Transcribing, FailsOverToTheDeviceAndSaysWhatFailed) {
    keep("kept", std::nullopt, "x");
    world.useServer();
    world.server.respond = [](const HttpRequest&) {
        return ScriptedServer::Scripted{0ms, 401, ""};
    };
    write("talk.wav", encodeWav(world.words.speak("use get hub", 16'000)));
    EXPECT_EQ(text("transcribe_file", {{"path", path("talk.wav")}}), "use GitHub");
    world.transcriber.languages.clear();
    EXPECT_EQ(refusal("transcribe_file", {{"path", path("talk.wav")}}),
              "Speech server failed: STT server returned HTTP 401.");

    world.keychain.error = Keychain::Error::locked;
    const std::string problem(explanation(Keychain::Error::locked));
    EXPECT_EQ(refusal("transcribe_recording", {{"id", "kept"}}),
              "Speech server failed: STT server returned HTTP 401. (" + problem + ")");
    world.server.requests.clear();
    EXPECT_EQ(refusal("transcribe_file", {{"path", path("talk.wav")}}),
              "The file can't be transcribed: " + problem);
    EXPECT_TRUE(world.server.requests.empty());
}

/// A call whose client may go away.
asio::awaitable<void> transcribe(MCPTools& tools, std::string path) {
    (void)co_await tools.callTool("transcribe_file", {{"path", path}});
}

TEST_F(Transcribing, IsDoneForOneClientAtATime) {
    keep("kept", std::nullopt, "x");
    world.useServer();
    write("talk.wav", "RIFF");
    world.server.answer(200, R"({"text": "one"})");
    world.server.answer(200, R"({"text": "two"})");
    const auto first = begin("transcribe_file", {{"path", path("talk.wav")}});
    TaskScope client(world.loop);
    client.spawn(transcribe(tools, path("talk.wav")));
    const auto third = begin("transcribe_recording", {{"id", "kept"}});
    EXPECT_EQ(refusal("transcribe_recording", {{"id", "no"}}),
              "No such recording — see list_recordings")
        << "at once";
    EXPECT_EQ(world.server.requests.size(), 1);
    client.cancelAll();
    world.scheduler.drain();
    EXPECT_TRUE(client.empty()) << "it need not wait for its turn to go";
    world.pass(1s);
    ASSERT_TRUE(*first && *third);
    EXPECT_EQ((*first)->text + (*third)->text, "onetwo");
    EXPECT_EQ(world.server.requests.size(), 2);
}

TEST_F(Transcribing, OfAFileEndsWhenItsClientGoes) {
    write("talk.wav", encodeWav(world.words.speak("use get hub", 16'000)));
    TaskScope client(world.loop);
    bool isStopped = false;
    whileDecoding = [&](const std::stop_token& stop) {
        client.cancelAll();
        world.scheduler.drain();
        isStopped = stop.stop_requested();
    };
    client.spawn(transcribe(tools, path("talk.wav")));
    world.scheduler.drain();
    EXPECT_TRUE(isStopped);
    EXPECT_TRUE(client.empty());
    EXPECT_EQ(world.scheduler.timerCount(), 0U) << "nothing is recognised";
    whileDecoding = nullptr;
    EXPECT_EQ(text("transcribe_file", {{"path", path("talk.wav")}}), "use GitHub");
}

class OpeningAudio : public ::testing::Test {
protected:
    std::string file(const std::string& name, std::int64_t bytes = 100) {
        const auto path = folder.path() / name;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << "x";
        std::filesystem::resize_file(path, static_cast<std::uintmax_t>(bytes));
        return path;
    }
    std::string link(const std::string& name, const std::string& target) {
        std::filesystem::create_symlink(target, folder.path() / name);
        return folder.path() / name;
    }
    static std::string opened(const std::string& path) {
        const auto file = openAudioFile(path);
        return file ? "opened " + file->fileExtension : file.error();
    }

    TemporaryFolder folder;
    const std::string nothing = "No audio file at that path";
};

TEST_F(OpeningAudio, TakesFilesThatAreCalledAudio) {
    EXPECT_EQ(opened(file("a.WAV")), "opened wav");
    EXPECT_EQ(opened(folder.path() / "./sub/../a.WAV"), nothing) << "as the system sees it";
    EXPECT_EQ(opened(file("sub/.hidden.m4a")), "opened m4a");
    EXPECT_EQ(opened(folder.path() / "sub//../a.WAV"), "opened wav");
    EXPECT_EQ(opened("a.wav"), "Give an absolute path");
    EXPECT_EQ(opened(""), "Give an absolute path");
    EXPECT_EQ(opened("/etc/passwd"), "Not an audio file ()");
    EXPECT_EQ(opened(file("a.wav.txt")), "Not an audio file (txt)");
    EXPECT_EQ(opened(folder.path() / ".wav"), "Not an audio file ()");
    EXPECT_EQ(opened(file("a.wav") + std::string("\0.wav", 5)), nothing);
    EXPECT_EQ(opened(std::string(5'000, '/') + (folder.path() / "a.WAV").string()), nothing)
        << "longer than paths may be";
    EXPECT_EQ(opened(folder.path() / "none.wav"), nothing);
    EXPECT_EQ(opened(folder.path() / "a.wav/b.wav"), nothing);
    EXPECT_EQ(opened(file("empty.mp3", 0)), "The file is empty");
    EXPECT_EQ(opened(file("most.mp3", 25'000'000)), "opened mp3");
    EXPECT_EQ(opened(file("more.mp3", 25'000'001)), "The file is over 25 MB");
}

TEST_F(OpeningAudio, TakesNothingButRegularFiles) {
    std::filesystem::create_directory(folder.path() / "folder.wav");
    EXPECT_EQ(opened(folder.path() / "folder.wav"), nothing);
    ASSERT_EQ(::mkfifo((folder.path() / "pipe.wav").c_str(), 0600), 0);
    EXPECT_EQ(opened(folder.path() / "pipe.wav"), nothing) << "and does not wait for a writer";
    EXPECT_EQ(opened(link("device.wav", "/dev/zero")), nothing);
    EXPECT_EQ(opened(link("system.wav", "/proc/self/status")), "Not an audio file ()");
}

TEST_F(OpeningAudio, FollowsLinksToWhatIsAudioToo) {
    file("deep/er/a.flac");
    EXPECT_EQ(opened(link("to.wav", "deep/er/../er/a.flac")), "opened flac");
    link("folder", folder.path() / "deep");
    EXPECT_EQ(opened(folder.path() / "folder/er/a.flac"), "opened flac");
    EXPECT_EQ(opened(link("text.wav", file("a.txt"))), "Not an audio file (txt)");
    EXPECT_EQ(opened(link("gone.wav", "nowhere.wav")), nothing);
    EXPECT_EQ(opened(link("loop.wav", "loop.wav")), nothing);
}

TEST_F(OpeningAudio, FollowsNoLinkOutOfAFolderThatCannotBeListed) {
    const auto target = file("a.wav");
    file("closed/b.wav");
    const auto linked = link("closed/link.wav", target);
    ::chmod(folder.path().c_str(), 0755);
    ::chmod(target.c_str(), 0644);
    const auto inside = (folder.path() / "closed/b.wav").string();
    ::chmod(inside.c_str(), 0644);
    const auto asUser = [&](mode_t mode) {
        ::chmod((folder.path() / "closed").c_str(), mode);
        // Nothing is closed to the super-user.
        const bool isRoot = ::geteuid() == 0;
        constexpr uid_t nobody = 65'534;
        EXPECT_TRUE(!isRoot || ::seteuid(nobody) == 0);
        auto seen = std::vector{opened(linked), opened(inside)};
        EXPECT_TRUE(!isRoot || ::seteuid(0) == 0);
        return seen;
    };
    EXPECT_EQ(asUser(0755), (std::vector<std::string>{"opened wav", "opened wav"}));
    EXPECT_EQ(asUser(0311), (std::vector<std::string>{nothing, "opened wav"}));
    ::chmod((folder.path() / "closed").c_str(), 0755);
}

}  // namespace
}  // namespace quillet::world
