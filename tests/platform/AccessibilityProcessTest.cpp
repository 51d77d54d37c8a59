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
using Selecting = FocusedField::Selecting;

/// A stand-in for the program that looks at fields. The process id that it is asked about says what
/// it does.
constexpr auto program = R"sh(#!/bin/sh
echo started >> "$0.starts"
while read -r number application what argument; do
  case $application in
    1) exit 1 ;;
    2) ;;
    3) echo "nonsense"; echo "$number \"plain\"" ;;
    4) echo "$number \"\"" ;;
    5) echo "$number true" ;;
    6) printf '%s "two\\nlines %s"\n' "$number" "$(head -c 90000 /dev/zero | tr '\0' x)" ;;
    7) head -c 2000000 /dev/zero | tr "\0" x 2>/dev/null ;;
    8) echo "${#argument}" >> "$0.lengths"; echo "$number \"$argument\"" ;;
    *) echo "$number \"secure\"" ;;
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
    std::optional<FocusedField::Surroundings> surroundings(pid_t application) {
        return loop.run(field->surroundings(application, {10, 10}));
    }
    Selecting select(pid_t application, const std::string& text) {
        return loop.run(field->select(application, text));
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
    EXPECT_EQ(surroundings(9), std::nullopt) << "an answer to another question";
    EXPECT_EQ(select(9, "text"), Selecting::unreadable);
}

/// A field that answers what it is told to.
class AnsweringField final : public FocusedField {
public:
    asio::awaitable<Security> security(pid_t) override { co_return security_; }
    asio::awaitable<Selection> selection(pid_t) override { co_return selection_; }
    asio::awaitable<std::optional<Surroundings>> surroundings(pid_t, Extent extent) override {
        askedFor = std::to_string(extent.before) + " " + std::to_string(extent.after);
        co_return surroundings_;
    }
    asio::awaitable<Selecting> select(pid_t application, std::string text) override {
        askedFor = std::to_string(application) + " " + text;
        co_return selecting_;
    }
    asio::awaitable<std::string> visibleText(pid_t, std::size_t mostCharacters) override {
        askedFor = std::to_string(mostCharacters);
        co_return visible_;
    }
    asio::awaitable<std::optional<DesktopRect>> caretRect(pid_t) override { co_return caret_; }

    Security security_ = Security::unknown;
    Selection selection_;
    std::optional<Surroundings> surroundings_;
    Selecting selecting_ = Selecting::unreadable;
    std::string visible_;
    std::optional<DesktopRect> caret_;
    std::string askedFor;
};

class AccessibilityProtocolTest : public ::testing::Test {
protected:
    using Question = AccessibilityProtocol::Question;

    /// Asks and answers in lines.
    template <class T, class Argument = std::string>
    T passed(Question question, const Argument& argument = {}) {
        const auto asked =
            AccessibilityProtocol::asked(7, 42, question, AccessibilityProtocol::encoded(argument));
        const auto answer = loop.run(AccessibilityProtocol::answered(field, asked));
        EXPECT_EQ((asked + answer).find('\n'), std::string::npos);
        EXPECT_LT(answer.size(), AccessibilityProtocol::longestLine);
        EXPECT_EQ(answer.substr(0, 2), "7 ");
        return AccessibilityProtocol::decoded<T>(answer.substr(2));
    }

    CommandLoop loop;
    AnsweringField field;
};

TEST_F(AccessibilityProtocolTest, PassesOnEveryQuestionAndAnswer) {
    for (const auto each : {Security::unknown, Security::plain, Security::secure}) {
        field.security_ = each;
        EXPECT_EQ(passed<Security>(Question::security), each);
    }
    using Selection = FocusedField::Selection;
    for (const auto& each :
         {Selection{}, Selection{Kind::nothing, {}}, Selection{Kind::text, "one \"😀\"\n\ttwo\\"},
          Selection{Kind::tooLong, {}}}) {
        field.selection_ = each;
        EXPECT_EQ(passed<Selection>(Question::selection), each);
    }
    using Surroundings = FocusedField::Surroundings;
    for (const auto& each : {std::optional<Surroundings>(),
                             std::optional(Surroundings{"f", "b\n", "a😀", true, false}),
                             std::optional(Surroundings{"", "", "", false, true})}) {
        field.surroundings_ = each;
        const auto answer = passed<std::optional<Surroundings>>(Question::surroundings,
                                                                FocusedField::Extent{3, 1'000'000});
        EXPECT_EQ(answer, each);
        EXPECT_EQ(field.askedFor, "3 20000");
    }
    for (const auto each :
         {Selecting::unreadable, Selecting::selected, Selecting::atCaret, Selecting::notThere}) {
        field.selecting_ = each;
        EXPECT_EQ(passed<Selecting>(Question::select, std::string("a\n\"b\" 😀")), each);
        EXPECT_EQ(field.askedFor, "42 a\n\"b\" 😀");
    }
    for (const auto& each :
         {std::optional<DesktopRect>(), std::optional(DesktopRect{-7, 8, 0, 9})}) {
        field.caret_ = each;
        EXPECT_EQ(passed<std::optional<DesktopRect>>(Question::caretRect), each);
    }
    field.visible_ = "line\nline \xFF";
    EXPECT_EQ(passed<std::string>(Question::visibleText, std::size_t{500}), "line\nline \uFFFD");
    EXPECT_EQ(field.askedFor, "500");
    field.visible_.assign(AccessibilityProtocol::longestLine, 'x');
    EXPECT_EQ(passed<std::string>(Question::visibleText), "");
}

TEST_F(AccessibilityProtocolTest, TakesNonsenseForWhatIsNotKnown) {
    EXPECT_EQ(loop.run(AccessibilityProtocol::answered(field, "")), "0 null");
    EXPECT_EQ(loop.run(AccessibilityProtocol::answered(field, "5 1 dance {}")), "5 null");
    for (const auto* nonsense : {"", "null", "{", "[]", "17", "{\"field\":1}", "\"plan\""}) {
        EXPECT_EQ(AccessibilityProtocol::decoded<Security>(nonsense), Security::unknown);
        EXPECT_EQ(AccessibilityProtocol::decoded<Selecting>(nonsense), Selecting::unreadable);
        EXPECT_FALSE(
            AccessibilityProtocol::decoded<std::optional<FocusedField::Surroundings>>(nonsense));
    }
    EXPECT_EQ(AccessibilityProtocol::decoded<FocusedField::Selection>("{").kind, Kind::unknown);
}

TEST_F(AccessibilityProcessTest, WritesALongQuestionInPartsAndDropsOneThatIsTooLong) {
    awaitStart();
    // More than a socket takes at once, for each of the characters is written as six. The shell
    // needs longer than the limit to read that.
    const std::string longest(FocusedTextReader::longestSelection, '\x01');
    EXPECT_EQ(select(8, longest), Selecting::unreadable);
    EXPECT_EQ(select(8, longest + longest), Selecting::unreadable);
    awaitStart();
    EXPECT_EQ(loop.run(field->visibleText(8, 500)), "500");
    std::ifstream lengths(path.string() + ".lengths");
    const std::string all{std::istreambuf_iterator<char>(lengths), {}};
    EXPECT_EQ(all, "600002\n3\n");
    EXPECT_EQ(starts(), 1);
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
