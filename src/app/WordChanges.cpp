#include "app/WordChanges.h"

#include <algorithm>
#include <cstdint>

namespace quillet {

namespace {

/// Of a word with a word: 2,000 by 2,000 or so.
constexpr std::size_t mostComparisons = 4'000'000;

constexpr std::string_view sentenceEnds[] = {".", "!", "?", "…", "。", "！", "？", "\n", "\r"};

/// The lengths of the longest common subsequences of what begins with each pair of words.
class CommonLengths {
public:
    CommonLengths(std::span<const Word> a, std::span<const Word> b)
        : width_(b.size() + 1), lengths_((a.size() + 1) * width_) {
        for (auto i = a.size(); i-- > 0;) {
            for (auto j = b.size(); j-- > 0;)
                lengths_[i * width_ + j] = a[i].text == b[j].text
                                               ? at(i + 1, j + 1) + 1
                                               : std::max(at(i + 1, j), at(i, j + 1));
        }
    }
    [[nodiscard]] std::uint32_t at(std::size_t i, std::size_t j) const {
        return lengths_[i * width_ + j];
    }

private:
    std::size_t width_;
    std::vector<std::uint32_t> lengths_;
};

/// The places within a change that differ.
std::vector<Change> split(const Change& whole) {
    const auto a = whole.pasted.words();
    const auto b = whole.edited.words();
    const CommonLengths common(a, b);
    std::vector<Change> changes;
    Change open = whole;  // its ends are set once they are known
    std::size_t i = 0;
    std::size_t j = 0;
    const auto close = [&] {
        open.pasted.last = whole.pasted.first + i;
        open.edited.last = whole.edited.first + j;
        if (open.pasted.size() + open.edited.size() > 0)
            changes.push_back(open);
    };
    while (i < a.size() && j < b.size()) {
        if (a[i].text != b[j].text) {
            ++(common.at(i + 1, j) >= common.at(i, j + 1) ? i : j);
            continue;
        }
        close();
        open.pasted.first = whole.pasted.first + ++i;
        open.edited.first = whole.edited.first + ++j;
    }
    i = a.size();
    j = b.size();
    close();
    return changes;
}

}  // namespace

std::string_view Stretch::text() const {
    if (size() == 0)
        return {};
    const auto begin = words().front().position;
    return source->text.substr(begin, words().back().end() - begin);
}

std::string_view Stretch::textBefore() const {
    return source->text.substr(0, words().front().position);
}

std::string_view Stretch::textAfter() const {
    return source->text.substr(words().back().end());
}

bool Stretch::startsSentence() const {
    if (first == 0)
        return true;
    const auto gap = textBefore().substr(source->words[first - 1].end());
    return std::ranges::any_of(sentenceEnds, [&](auto end) { return gap.contains(end); });
}

std::vector<Change> changesBetween(const WordedText& pasted, const WordedText& edited) {
    const auto& a = pasted.words;
    const auto& b = edited.words;
    const auto shorter = std::min(a.size(), b.size());
    std::size_t head = 0;
    while (head < shorter && a[head].text == b[head].text)
        ++head;
    std::size_t tail = 0;
    while (tail < shorter - head && a[a.size() - 1 - tail].text == b[b.size() - 1 - tail].text)
        ++tail;
    const Change middle{{&pasted, head, a.size() - tail}, {&edited, head, b.size() - tail}};
    if (middle.pasted.size() * middle.edited.size() > mostComparisons)
        return {middle};
    return split(middle);
}

}  // namespace quillet
