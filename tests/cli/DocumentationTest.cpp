#include <gtest/gtest.h>

#include <set>
#include <sstream>

#include "cli/Command.h"
#include "cli/CommandText.h"

namespace quillet {
namespace {

/// The command line as the help tells it, for checking what was generated from it.
class Documentation : public ::testing::Test {
protected:
    static std::string run(std::vector<const char*> words) {
        std::ostringstream out;
        CommandContext context({}, Log(makeNullLogSink(), Log::PrivateText::hide), out, out);
        words.insert(words.begin(), "quillet");
        testing::internal::CaptureStdout();
        EXPECT_EQ(
            runCommandLine(static_cast<int>(words.size()), words.data(), allCommands(), context),
            0);
        return testing::internal::GetCapturedStdout() + out.str();
    }

    /// The long options that a command's help names.
    static std::set<std::string> optionsIn(const std::string& help) {
        std::set<std::string> options;
        std::istringstream lines(help);
        for (std::string line; std::getline(lines, line);) {
            const auto begin = line.find("--");
            if (line.starts_with("  -") && begin != std::string::npos)
                options.insert(line.substr(begin, line.find_first_of(" ,", begin) - begin));
        }
        return options;
    }

    /// The part of a text that begins with one mark and ends before the next.
    static std::string section(const std::string& text, const std::string& begin,
                               const std::string& end) {
        const auto from = text.find(begin);
        if (from == std::string::npos)
            return {};
        return text.substr(from, text.find(end, from + begin.size()) - from);
    }

    static std::string plainManual() {
        std::string plain;
        const auto page = run({"manual"});
        for (std::size_t i = 0; i < page.size(); ++i) {
            if (page[i] == '\\' && page[i + 1] == 'f')
                i += 2;
            else if (page[i] != '\\')
                plain += page[i];
        }
        return plain;
    }
};

TEST_F(Documentation, NamesEveryCommandWithItsOptions) {
    const auto manual = plainManual();
    const auto bash = run({"completions", "bash"});
    const auto zsh = run({"completions", "zsh"});
    const auto fish = run({"completions", "fish"});
    for (const auto& command : allCommands()) {
        const std::string name(command.name);
        const std::string path =
            command.group.empty() ? name : std::string(command.group) + " " + name;
        std::vector<const char*> words;
        if (!command.group.empty())
            words.push_back(command.group.data());
        words.push_back(command.name.data());
        words.push_back("--help");
        const auto options = optionsIn(run(words));
        EXPECT_TRUE(options.contains("--json")) << path;
        const auto inManual = section(manual, "\n" + path, ".RE");
        const auto inBash = section(bash, "    \"" + path + "\")", "esac ;;");
        EXPECT_NE(zsh.find(name + ":" + std::string(command.summary.substr(0, 10))),
                  std::string::npos)
            << path;
        for (const auto& option : options) {
            EXPECT_NE(inManual.find("\n" + option), std::string::npos) << path << " " << option;
            EXPECT_NE(inBash.find(option), std::string::npos) << path << " " << option;
            EXPECT_NE(zsh.find(option + "["), std::string::npos) << path << " " << option;
            EXPECT_NE(fish.find("__quillet_stands " + path + "\" -l " + option.substr(2)),
                      std::string::npos)
                << path << " " << option;
        }
    }
}

TEST_F(Documentation, LeavesOutWhatTheHelpDoesNotShow) {
    const auto manual = plainManual();
    for (const auto& text : {manual, run({"completions", "bash"}), run({"completions", "zsh"}),
                             run({"completions", "fish"})}) {
        EXPECT_EQ(text.find("completions bash"), std::string::npos);
        EXPECT_EQ(text.find("Write the manual page"), std::string::npos);
    }
    EXPECT_EQ(run({"--help"}).find("completions"), std::string::npos);
    EXPECT_EQ(section(manual, "keys set", ".RE").find("key\n"), std::string::npos);
}

TEST_F(Documentation, OffersFixedChoicesAndFiles) {
    const auto bash = run({"completions", "bash"});
    EXPECT_NE(section(bash, "\"open\")", "esac").find("settings history"), std::string::npos);
    EXPECT_NE(section(bash, "\"toggle\")", "esac").find("--mode) words=\"dictate command"),
              std::string::npos);
    EXPECT_NE(section(bash, "\"transcribe\")", "esac").find("files=1"), std::string::npos);
    EXPECT_EQ(section(bash, "\"status\")", "esac").find("files=1"), std::string::npos);
    const auto fish = run({"completions", "fish"});
    EXPECT_NE(fish.find("__quillet_stands transcribe\" -l engine -x -a \"apple cloud\""),
              std::string::npos);
}

}  // namespace
}  // namespace quillet
