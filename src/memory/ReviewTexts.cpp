#include "memory/ReviewTexts.h"

namespace quillet::ReviewTexts {

// Models were tuned to these texts: a change of a single mark changes what they write.

constinit const std::string_view judgeDay =
    R"text(You review one day of a user's voice dictation. Each entry has what speech recognition heard ("heard"), what was inserted after cleanup and the user's own edits ("sent"), sometimes a second, independent transcription of the same audio ("heard_again"), and the app it went to.

Find what was misheard, judging every sentence by its context and by the whole day:
1. "terms": words recognition gets wrong whenever they're said — names of people, products, projects, technical terms (e.g. "江纳森" and "Johnason" for the same child, Jonathan). Only when the wrong spelling is never right: a real word that is only wrong here ("坐下去" for "做下去") is a fix, never a term. "heard" must appear verbatim in the listed entries.
2. "fixes": a sentence in "sent" that doesn't make sense where it was said, because of a homophone or a misheard word ("白子" for "孩子"), or an entry that clearly wasn't cleaned up (fillers, repeats, broken punctuation). "sent" must be copied verbatim from that entry — one sentence, or the whole entry when it wasn't cleaned up; "fixed" changes only what is wrong. Never fix style, wording or facts the user chose.
3. "memory": the user's profile, updated with this day: the people (with how their names are written), projects, products and topics they talk about, and how they write. At most )text";

constinit const std::string_view profileLimit =
    R"text( characters, in the user's own language; keep what is still true from the current one. "terms": up to )text";

constinit const std::string_view termLimit =
    R"text( names and terms they use, spelled right — never a misheard form, and drop any already there that is clearly wrong (garbled, test text, an ordinary word that is no name).

If unsure, leave it out. Empty lists are fine.

Current memory:
)text";

constinit const std::string_view vocabulary =
    R"text(

Their vocabulary (spellings already known):)text";

constinit const std::string_view judgeReply =
    R"text(

Reply with only this JSON:
{"terms": [{"heard": "...", "written": "...", "ids": [1], "confidence": 0.0, "reason": "..."}],
 "fixes": [{"id": 1, "sent": "...", "fixed": "...", "reason": "..."}],
 "memory": {"profile": "...", "terms": ["..."]}})text";

constinit const std::string_view cleanUp =
    R"text(These are a user's speech-recognition vocabulary: each pair turns what recognition heard (left) into what the user meant (right), wherever it appears. They dictate in Chinese mixed with English names and technical terms.

List only the pairs that are clearly wrong:
- garbled or test text on either side ("测试第一第二第三 → pe't'smart"), a spelling that can't be anyone's ("pe't'smart");
- an ordinary word on the right that is no name or term ("史事 → 只是"): replacing it everywhere is wrong, it depends on the sentence;
- a second spelling of a name another pair spells differently, keeping the right one;
- stray punctuation or spaces making a pair useless ("安达， → Anna").
Keep everything that could be right. If unsure, keep it.

)text";

constinit const std::string_view cleanUpTerms =
    R"text(

Then their list of names and terms, which goes into every recognition prompt: list the ones clearly wrong the same way (garbled, an ordinary word, a misspelling of another one).
)text";

constinit const std::string_view cleanUpReply =
    R"text(

Reply with only this JSON: {"remove": [{"id": 1, "reason": "..."}], "drop_terms": ["..."]})text";

}  // namespace quillet::ReviewTexts
