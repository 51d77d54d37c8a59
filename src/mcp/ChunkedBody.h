#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quillet {

/// Puts a body together that comes in chunks, each with its size in front.
class ChunkedBody {
public:
    enum class State {
        unfinished,
        finished,
        invalid,  ///< it is no chunked body, or longer than is allowed
    };

    explicit ChunkedBody(std::size_t longest) : longest_(longest) {}

    /// Takes what was received next; what follows the end is left out.
    State take(std::string_view bytes);

    [[nodiscard]] std::string& body() { return body_; }

private:
    enum class Part { size, data, endOfData, trailer };

    void takeData(std::string_view& bytes);
    bool takeLine(std::string_view& bytes);
    bool lineEnded();
    bool beginChunk();

    std::size_t longest_;
    std::string body_;
    std::string line_;  // received so far of a line, without its end
    std::size_t left_ = 0;
    std::size_t aroundBytes_ = 0;  // of everything but data
    Part part_ = Part::size;
    State state_ = State::unfinished;
};

}  // namespace quillet
