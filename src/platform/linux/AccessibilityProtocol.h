#pragma once

#include <asio/awaitable.hpp>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/FocusedField.h"

namespace quillet {

/// What an AccessibilityProcess and the program that it starts say to each other, a line at a time:
/// "NUMBER PROCESS-ID QUESTION JSON" asks, where the JSON is the question's argument or null, and
/// "NUMBER JSON" answers.
class AccessibilityProtocol {
public:
    enum class Question : std::uint8_t {
        security,
        selection,
        surroundings,
        select,
        visibleText,
        caretRect
    };

    /// Of what is asked for on either side; more is answered as if this had been asked.
    static constexpr std::size_t mostCharacters = 20'000;
    /// JSON writes a character of one byte in up to six.
    static constexpr std::size_t longestLine = 6 * FocusedTextReader::longestSelection + 256;

    /// A question's line, without its end.
    [[nodiscard]] static std::string asked(std::uint64_t number, pid_t application,
                                           Question question, std::string_view argument);
    /// The line that answers the question in a line. What nobody knows and what is too long is
    /// answered with null.
    [[nodiscard]] static asio::awaitable<std::string> answered(FocusedField& field,
                                                               std::string line);

    /// An argument or an answer in JSON, and back: the types of FocusedField's questions. What is
    /// none of the type is decoded as what is not known.
    template <class T>
    [[nodiscard]] static std::string encoded(const T& value);
    template <class T>
    [[nodiscard]] static T decoded(const std::string& text);
};

}  // namespace quillet
