#include <algorithm>
#include <string>
#include <vector>

#include "Laws.h"
#include "Targets.h"
#include "base/text/Text.h"
#include "speech/cleanup/Cleanup.h"
#include "speech/cleanup/NaiveVocabulary.h"
#include "speech/cleanup/SilenceGuards.h"
#include "speech/cleanup/SpokenAddresses.h"
#include "speech/cleanup/WordsOf.h"

namespace quillet::fuzz {

namespace {

constexpr std::size_t mostEntries = 24;

/// An input as the cases of the text rules are written: lines that set the scene, then "text: ".
struct Scene {
    std::vector<VocabEntry> vocabulary;
    std::vector<Snippet> snippets;
    std::string_view prompt;
    std::string_view language;
    std::string_view text;

    explicit Scene(std::string_view input) {
        constexpr std::string_view textMark = "text: ";
        const auto begin =
            input.starts_with(textMark) ? 0 : input.find("\n" + std::string(textMark));
        if (begin == std::string_view::npos) {
            text = input;
            return;
        }
        text = input.substr(input.find(textMark, begin) + textMark.size());
        for (auto head = input.substr(0, begin); !head.empty();) {
            const auto lineEnd = std::min(head.find('\n'), head.size());
            readLine(head.substr(0, lineEnd));
            head.remove_prefix(std::min(lineEnd + 1, head.size()));
        }
    }

private:
    static bool cutFrom(std::string_view& line, std::string_view start) {
        if (!line.starts_with(start))
            return false;
        line.remove_prefix(start.size());
        return true;
    }

    void readLine(std::string_view line) {
        constexpr std::string_view arrowMark = " => ";
        if (cutFrom(line, "prompt: "))
            prompt = line;
        else if (cutFrom(line, "language: "))
            language = line;
        const bool snippet = cutFrom(line, "snippet: ");
        const auto arrow = line.find(arrowMark);
        if (arrow == std::string_view::npos || vocabulary.size() + snippets.size() >= mostEntries)
            return;
        const std::string from(line.substr(0, arrow));
        const std::string to(line.substr(arrow + arrowMark.size()));
        if (snippet)
            snippets.push_back({"", from, to});
        else
            // A vocabulary comes most frequent first; every second pair stands level with another.
            vocabulary.push_back({from, to, static_cast<int>(vocabulary.size() / 2), ""});
    }
};

void checkFinished(std::string_view text) {
    const auto words = wordsOf(text);
    for (const auto punctuation : {Punctuation::raw, Punctuation::full}) {
        const auto finished = finishedText(text, punctuation);
        require(isValidUtf8(finished), "a finished text is UTF-8", finished);
        requireSame(finished, trimmed(finished), "a finished text has no white space around it");
        requireSame(wordsOf(finished), words, "setting marks neither loses nor moves a word");
    }
}

void checkCleaned(const Scene& scene) {
    const VocabularyMatcher matcher(scene.vocabulary);
    requireSame(matcher.apply(scene.text), naive::applied(scene.vocabulary, scene.text),
                "the vocabulary does what one entry after another does");
    const auto cleaned = cleanTranscript(scene.text, scene.snippets, matcher);
    if (cleaned.isSnippet) {
        const auto saved = [&](const Snippet& one) { return one.text == cleaned.text; };
        require(std::ranges::any_of(scene.snippets, saved), "a snippet is typed as it was saved",
                cleaned.text);
        return;
    }
    require(isValidUtf8(cleaned.text), "a cleaned transcript is UTF-8", cleaned.text);
    checkFinished(cleaned.text);
}

}  // namespace

void cleanup(std::string_view input) {
    const Scene scene(input);
    checkCleaned(scene);
    checkFinished(scene.text);
    const auto written = rewriteSpokenAddresses(scene.text);
    require(isValidUtf8(written), "a text with addresses is UTF-8", written);
    requireSame(rewriteSpokenAddresses(written), written, "written addresses stay as they are");
    (void)isSilence(scene.text, scene.prompt, scene.language);
}

}  // namespace quillet::fuzz
