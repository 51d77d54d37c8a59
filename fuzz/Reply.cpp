#include "refine/LLMReply.h"

#include "Laws.h"
#include "Parts.h"
#include "Targets.h"
#include "base/text/Text.h"
#include "refine/RewriteGuards.h"
#include "world/ScriptedLLM.h"

namespace quillet::fuzz {

namespace {

using DictationPrompt::CleanupStyle;

void checkGuards(std::string_view said, std::string_view written) {
    for (const auto style : {CleanupStyle::smart, CleanupStyle::polish}) {
        const auto reason = rejectionReason(said, written, style);
        require(!reason || isValidUtf8(*reason), "a reason can be logged");
    }
    (void)holdsThinking(written, said);
    (void)answersInstead(said, written);
}

/// A model that has nothing to mend repeats what was said.
void checkEcho(std::string_view said) {
    constexpr std::size_t neverTooLong = 2'000;
    require(!holdsThinking(said, said), "what was said is no thinking", said);
    require(!answersInstead(said, said), "what was said is no answer to itself", said);
    if (said.size() > neverTooLong)
        return;
    require(!rejectionReason(said, said, CleanupStyle::polish), "what was said may stand", said);
    require(said.contains('\n') || !rejectionReason(said, said, CleanupStyle::smart),
            "a line that was said may stand", said);
}

void checkReply(std::string_view said, std::string_view response) {
    const auto written = parseReply(response);
    if (!written)
        return;
    require(isValidUtf8(*written), "a reply is UTF-8", *written);
    requireSame(*written, trimmed(*written), "a reply has no white space around it");
    checkGuards(said, *written);
    checkEcho(*written);
}

}  // namespace

/// Parts: what was said; the response, or what the model says in it.
void reply(std::string_view input) {
    Parts parts(input);
    const auto said = parts.next();
    checkEcho(said);
    checkReply(said, parts.last());
    checkReply(said, world::ScriptedLLM::responseWith(withValidUtf8(parts.last())));
}

}  // namespace quillet::fuzz
