#include "mcp/ChunkedBody.h"

#include <algorithm>
#include <charconv>

namespace quillet {

namespace {

/// A size and what may stand behind it is shorter.
constexpr std::size_t longestLine = 1024;

}  // namespace

ChunkedBody::State ChunkedBody::take(std::string_view bytes) {
    while (state_ == State::unfinished && !bytes.empty()) {
        if (part_ == Part::data)
            takeData(bytes);
        else if (!takeLine(bytes))
            state_ = State::invalid;
    }
    return state_;
}

void ChunkedBody::takeData(std::string_view& bytes) {
    const auto part = bytes.substr(0, left_);
    body_ += part;
    bytes.remove_prefix(part.size());
    left_ -= part.size();
    if (left_ == 0)
        part_ = Part::endOfData;
}

/// Takes up to the end of a line. False when it is not what must stand here.
bool ChunkedBody::takeLine(std::string_view& bytes) {
    const auto end = bytes.find('\n');
    const auto part = bytes.substr(0, end);
    line_ += part;
    // As much again as the longest body is enough around it.
    aroundBytes_ += part.size() + 1;
    if (line_.size() > longestLine || aroundBytes_ > longest_)
        return false;
    if (end == std::string_view::npos) {
        bytes = {};
        return true;
    }
    bytes.remove_prefix(end + 1);
    if (!line_.ends_with('\r'))
        return false;
    line_.pop_back();
    const bool isGood = lineEnded();
    line_.clear();
    return isGood;
}

bool ChunkedBody::lineEnded() {
    switch (part_) {
        case Part::size:
            return beginChunk();
        case Part::endOfData:
            part_ = Part::size;
            return line_.empty();
        case Part::trailer:
            if (line_.empty())
                state_ = State::finished;
            return true;
        case Part::data:
            break;
    }
    return false;
}

/// Reads a chunk's size: hexadecimal digits, and nothing else before a ";" or the line's end.
bool ChunkedBody::beginChunk() {
    const auto digits = std::string_view(line_).substr(0, line_.find(';'));
    const auto* const last = digits.data() + digits.size();
    const auto [end, error] = std::from_chars(digits.data(), last, left_, 16);
    if (error != std::errc() || end != last || left_ > longest_ - body_.size())
        return false;
    part_ = left_ == 0 ? Part::trailer : Part::data;
    return true;
}

}  // namespace quillet
