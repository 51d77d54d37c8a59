#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace quillet {

/// One text field as its application tells of it. Offsets are the field's own units, whatever those
/// are: code points in one toolkit, UTF-16 units in another. Nothing that is told is to be trusted;
/// none means that the application does not tell or does not answer.
class TextField {
public:
    struct Range {
        int start = 0;
        int end = 0;
        friend bool operator==(const Range&, const Range&) = default;
    };

    virtual ~TextField() = default;

    /// Names the field among all that the desktop has, as long as it exists.
    [[nodiscard]] virtual std::string name() = 0;
    [[nodiscard]] virtual std::optional<int> length() = 0;
    [[nodiscard]] virtual std::optional<int> caret() = 0;
    /// The first selected range; an empty one when nothing is selected.
    [[nodiscard]] virtual std::optional<Range> selection() = 0;
    [[nodiscard]] virtual std::optional<std::string> text(Range range) = 0;
    /// Asks the application to select a range, which it may do a moment later.
    [[nodiscard]] virtual bool select(Range range) = 0;
    /// Takes back whatever is selected, or will be a moment later; the caret stands here then. Also
    /// when there is no more time for anything else.
    virtual void unselect(int caret) = 0;
    /// Gives the application a moment; false when there is no more time to wait.
    [[nodiscard]] virtual bool wait() = 0;
};

/// Reads a text field and selects in it, in the field's own units, and in spite of fields that
/// change meanwhile and applications that tell wrong offsets. Blocks as long as the field does.
class FocusedTextReader {
public:
    /// What is selected in a field.
    struct Selection {
        enum class Kind {
            nothing,
            text,
            tooLong,  ///< more than `longestSelection` bytes
            unknown,  ///< the application does not tell, or did not answer in time
        };
        Kind kind = Kind::unknown;
        std::string text;
        friend bool operator==(const Selection&, const Selection&) = default;
    };

    /// Longer than what a language model rewrites in its time.
    static constexpr std::size_t longestSelection = 100'000;

    /// How much text is wanted on either side, in characters.
    struct Extent {
        std::size_t before = 0;
        std::size_t after = 0;
    };
    struct Surroundings {
        std::string field;       ///< names the field among all, as long as it exists
        std::string before;      ///< what stands before, its end where it is longer than wanted
        std::string after;       ///< what stands after, its beginning where it is longer
        bool fromStart = false;  ///< `before` is all that stands before
        bool toEnd = false;      ///< `after` is all that stands after
        friend bool operator==(const Surroundings&, const Surroundings&) = default;
    };

    /// What became of selecting text in a field.
    enum class Selecting {
        selected,
        atCaret,     ///< that text does not stand just before the caret
        notThere,    ///< the range could not be set
        unreadable,  ///< there is no field, it is a password field, or it does not tell enough
    };

    explicit FocusedTextReader(TextField& field) : field_(field) {}

    [[nodiscard]] Selection selection();
    [[nodiscard]] std::optional<Surroundings> surroundings(Extent extent);
    /// Selects `text` where it stands just before the caret. Where it is what is selected already,
    /// nothing is to be done; anything else that is selected counts as another text.
    [[nodiscard]] Selecting select(std::string_view text);

private:
    TextField& field_;
};

}  // namespace quillet
