#include "platform/linux/AccessibilityProcess.h"

#include <gtest/gtest.h>

#include <fstream>

#include "base/async/CommandLoop.h"
#include "platform/linux/SteadyScheduler.h"
#include "world/ScriptedServices.h"
#include "world/TemporaryFolder.h"

namespace quillet::test {
namespace {

using Security = FocusedField::Security;
using Kind = FocusedField::Selection::Kind;

/// A stand-in for the program that looks at fields. The process id that it is asked about says what
/// it does.
constexpr auto program = R"sh(#!/bin/sh
echo started >> "$0.starts"
while read -r number application what; do
  case $application in
    1) exit 1 ;;
    2) ;;
    3) echo "nonsense"; echo "$number plain" ;;
    4) echo "$number null" ;;
    5) echo "$number true" ;;
    6) printf '%s "two\\nlines %s"\n' "$number" "$(head -c 90000 /dev/zero | tr '\0' x)" ;;
    7) head -c 2000000 /dev/zero | tr "\0" x 2>/dev/null ;;
    *) echo "$number secure" ;;
  esac
done
)sh";

class AccessibilityProcessTest : public ::testing::Test {
protected:
    AccessibilityProcessTest() {
        std::ofstream(path) << program;
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
        field = std::make_unique<AccessibilityProcess>(path, loop, scheduler,
                                                       Log(sink, Log::PrivateText::hide));
    }
    /// A busy machine may take longer than the limit to start a shell.
    void awaitStart() {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (security(0) != Security::secure && std::chrono::steady_clock::now() < deadline) {
        }
    }
    Security security(pid_t application) { return loop.run(field->security(application)); }
    FocusedField::Selection selection(pid_t application) {
        return loop.run(field->selection(application));
    }
    int starts() const {
        std::ifstream file(path.string() + ".starts");
        int count = 0;
        for (std::string line; std::getline(file, line);)
            ++count;
        return count;
    }

    world::TemporaryFolder folder;
    std::filesystem::path path = folder.path() / "fields";
    std::shared_ptr<world::RecordingLogSink> sink = std::make_shared<world::RecordingLogSink>();
    CommandLoop loop;
    SteadyScheduler scheduler{loop};
    std::unique_ptr<AccessibilityProcess> field;
};

TEST_F(AccessibilityProcessTest, PassesOnWhatIsAnswered) {
    awaitStart();
    EXPECT_EQ(security(3), Security::plain);
    EXPECT_EQ(selection(4).kind, Kind::nothing);
    EXPECT_EQ(selection(5).kind, Kind::tooLong);
    const auto text = selection(6);
    EXPECT_EQ(text.kind, Kind::text);
    EXPECT_EQ(text.text.substr(0, 10), "two\nlines ");
    EXPECT_EQ(text.text.size(), 90'010U);
    EXPECT_EQ(selection(9).kind, Kind::unknown) << "an answer to another question";
}

TEST_F(AccessibilityProcessTest, CostsAnAnswerWhenItEndsOrSaysNothingOrTooMuch) {
    awaitStart();
    for (const pid_t fault : {1, 2, 7}) {
        EXPECT_EQ(security(fault), Security::unknown);
        EXPECT_EQ(selection(fault).kind, Kind::unknown);
        awaitStart();
        EXPECT_EQ(security(0), Security::secure);
    }
    EXPECT_GE(starts(), 3) << "it was started again";
    EXPECT_TRUE(sink->has("begins anew"));
}

TEST_F(AccessibilityProcessTest, KnowsNothingWithoutItsProgram) {
    field = std::make_unique<AccessibilityProcess>(folder.path() / "none", loop, scheduler,
                                                   Log(sink, Log::PrivateText::hide));
    EXPECT_EQ(security(0), Security::unknown);
    EXPECT_EQ(selection(0).kind, Kind::unknown);
    EXPECT_TRUE(sink->has("cannot be started"));
}

}  // namespace
}  // namespace quillet::test
