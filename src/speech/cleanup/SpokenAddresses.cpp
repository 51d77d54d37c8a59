#include "speech/cleanup/SpokenAddresses.h"

#include <array>
#include <functional>

#include "speech/cleanup/Pattern.h"

namespace quillet {

namespace {

using Expression = std::u16string;

/// A word where no ASCII letter, digit or underscore touches it; Chinese may stand right beside it.
Expression word(std::u16string_view alternatives) {
    return u"(?<![A-Za-z0-9_])(?:" + Expression(alternatives) + u")(?![A-Za-z0-9_])";
}

/// A mark that was spoken, with the blanks around it.
Expression spoken(std::u16string_view english, std::u16string_view chinese) {
    return uR"(\s*(?:)" + word(english) + u"|" + Expression(chinese) + uR"()\s*)";
}

/// The pieces that addresses are made of. Built at first use.
struct Grammar {
    Expression endings =
        u"com|org|net|edu|gov|mil|int|io|dev|app|ai|co|me|info|biz|tech|xyz|cc|tv|gg|ly|sh|so|to|"
        u"ca|us|uk|cn|jp|kr|tw|hk|sg|au|nz|in|de|fr|es|it|nl|se|ch|eu|ru|br";
    Expression spokenDot = spoken(u"dot", u"点");
    Expression spokenDash = spoken(u"dash", u"横杠|横线|杠");
    Expression spokenSlash = spoken(u"slash", u"斜杠|斜线");
    Expression spokenColon = spoken(u"colon", u"冒号");
    Expression dot = u"(?:" + spokenDot + uR"(|\.))";
    Expression slash = u"(?:" + spokenSlash + u"|/)";
    Expression wordEnd = u"(?![A-Za-z0-9_])";

    Expression twoSlashes =
        uR"((?:(?:slash|斜杠|斜线|/)\s*(?:slash|斜杠|斜线|/)|double\s+slash|双斜杠|双斜线))";
    Expression scheme =
        uR"((?:(https?|wss?|ftp|ssh)\s*(?:colon|冒号|[:：])\s*)" + twoSlashes + uR"(\s*)?)";
    Expression label = u"[A-Za-z0-9]+(?:" + spokenDash + u"[A-Za-z0-9]+)*";
    /// Groups: what comes before, the label before the ending, the dot between them, the ending.
    Expression host = u"((?:" + label + dot + u")*)(" + label + u")(" + dot + u")(" + endings +
                      u")" + wordEnd + u"(?!" + dot + u"[A-Za-z0-9])";
    Expression port = u"((?:" + spokenColon + u"|:)[0-9]{2,5}" + wordEnd + u")?";
    /// Behind a path 点 is more often the verb "click" than a dot.
    Expression fileDot =
        u"点(?=(?:html|htm|php|json|xml|txt|md|pdf|png|jpg|zip|git|js|css|py|sh)" + wordEnd + u")";
    Expression path = u"((?:" + slash + u"[A-Za-z0-9_]+(?:(?:" + spokenDash + u"|" + uR"(\s*)" +
                      word(u"dot") + uR"(\s*|\.|)" + fileDot + u")[A-Za-z0-9_]+)*)*)";
    /// "the dot com bubble" is about no host called "the".
    Expression noArticle = uR"((?!(?:a|an|the|this|that|each|every)\s+dot(?![A-Za-z0-9_])))";

    Expression local = u"([A-Za-z0-9_+-]+(?:(?:" + dot + u"|" + spokenDash + u")[A-Za-z0-9_+-]+)*)";
    Expression domain = uR"(([A-Za-z0-9-]+(?:\.[A-Za-z0-9-]+)*\.(?:)" + endings +
                        uR"())(?![A-Za-z0-9_@])(?!\.[A-Za-z0-9]))";
    Expression mailWords = u"((?:" + word(u"e-?mail|mail|address") +
                           uR"(|邮箱|邮件|地址)(?:\s*(?:)" +
                           word(u"is|me|us|him|her|them|at|to|address") + uR"(|是|[:：]))*\s*))";
};

const Grammar& grammar() {
    static const Grammar built;
    return built;
}

/// A mark inside an address, where something stands on either side of it.
Pattern between(const Expression& mark) {
    return Pattern(u"(?<=[A-Za-z0-9_+-])" + mark + u"(?=[A-Za-z0-9_+-])", Pattern::Case::ignored);
}

icu::UnicodeString withMarks(const icu::UnicodeString& part) {
    static const Pattern dots = between(grammar().spokenDot);
    static const Pattern dashes = between(grammar().spokenDash);
    return dashes.replaceAll(dots.replaceAll(part, u"."), u"-");
}

icu::UnicodeString writtenPort(const icu::UnicodeString& port) {
    static const Pattern colon(grammar().spokenColon, Pattern::Case::ignored);
    return colon.replaceAll(port, u":");
}

icu::UnicodeString writtenPath(const icu::UnicodeString& path) {
    static const Pattern slashes(grammar().spokenSlash + u"(?=[A-Za-z0-9_])",
                                 Pattern::Case::ignored);
    return withMarks(slashes.replaceAll(path, u"/"));
}

/// Copies a text, with every match replaced by what `written` makes of it.
icu::UnicodeString rewritten(
    const Pattern& pattern, const icu::UnicodeString& text,
    const std::function<icu::UnicodeString(const icu::RegexMatcher&)>& written) {
    UErrorCode status = U_ZERO_ERROR;
    const auto search = pattern.matcher(text);
    icu::UnicodeString result;
    int32_t done = 0;
    while (search && search->find(status) && U_SUCCESS(status)) {
        result.append(text, done, search->start(status) - done);
        result.append(written(*search));
        done = search->end(status);
    }
    return U_SUCCESS(status) ? result.append(text, done, text.length() - done) : text;
}

icu::UnicodeString group(const icu::RegexMatcher& match, int32_t number) {
    UErrorCode status = U_ZERO_ERROR;
    return match.group(number, status);
}

/// "下午3点in" tells the time: a number, a spoken dot and an ordinary short word; or an hour, 点
/// and an ending that few hosts of one number have.
bool isTime(const icu::UnicodeString& before, const icu::UnicodeString& dot,
            const icu::UnicodeString& ending) {
    static const Pattern number(u"[0-9]+");
    static const Pattern hour(u"0?[0-9]|1[0-9]|2[0-4]");
    static const Pattern shortWord(u"in|to|so|me|us|it|be|no|at|by|my", Pattern::Case::ignored);
    static const Pattern usualEnding(u"com|org|net|cn", Pattern::Case::ignored);
    if (dot == u"." || !number.matches(before))
        return false;
    return shortWord.matches(ending) ||
           (dot.indexOf(u"点") >= 0 && hour.matches(before) && !usualEnding.matches(ending));
}

icu::UnicodeString withHosts(const icu::UnicodeString& text) {
    static const Pattern hosts(u"(?<![A-Za-z0-9])" + grammar().noArticle + grammar().scheme +
                                   grammar().host + grammar().port + grammar().path,
                               Pattern::Case::ignored);
    return rewritten(hosts, text, [](const icu::RegexMatcher& match) {
        enum : int32_t { whole, scheme, labels, lastLabel, lastDot, ending, port, path };
        if (isTime(group(match, lastLabel), group(match, lastDot), group(match, ending)))
            return group(match, whole);
        auto address = group(match, scheme);
        if (!address.isEmpty())
            address += u"://";
        const auto host = group(match, labels) + group(match, lastLabel) + group(match, lastDot) +
                          group(match, ending);
        return address + withMarks(host) + writtenPort(group(match, port)) +
               writtenPath(group(match, path));
    });
}

icu::UnicodeString withMailboxes(const icu::UnicodeString& text) {
    static const Pattern mailboxes(grammar().local + uR"((?:\s*艾特\s*|@))" + grammar().domain,
                                   Pattern::Case::ignored);
    return rewritten(mailboxes, text, [](const icu::RegexMatcher& match) {
        return withMarks(group(match, 1)) + u"@" + group(match, 2);
    });
}

icu::UnicodeString withEnglishMailboxes(const icu::UnicodeString& text) {
    static const Pattern mailboxes(
        grammar().mailWords + grammar().local + uR"(\s+at\s+)" + grammar().domain,
        Pattern::Case::ignored);
    return rewritten(mailboxes, text, [](const icu::RegexMatcher& match) {
        return group(match, 1) + withMarks(group(match, 2)) + u"@" + group(match, 3);
    });
}

}  // namespace

std::string rewriteSpokenAddresses(std::string_view text) {
    return narrow(withEnglishMailboxes(withMailboxes(withHosts(wide(text)))));
}

}  // namespace quillet
