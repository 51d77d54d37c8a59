#include "memory/SecretVocabulary.h"

#include <algorithm>

namespace quillet {

namespace {

/// In small letters. A blank may also be "_", "-" or nothing.
constexpr SecretWord secretWords[] = {
    {U"password", SecretWeight::often}, {U"passcode", SecretWeight::often},
    {U"passwd", SecretWeight::often},   {U"passphrase", SecretWeight::often},
    {U"api key", SecretWeight::often},  {U"verification code", SecretWeight::often},
    {U"secret", SecretWeight::seldom},  {U"token", SecretWeight::seldom},
    {U"密码", SecretWeight::often},     {U"密碼", SecretWeight::often},
    {U"口令", SecretWeight::often},     {U"验证码", SecretWeight::often},
    {U"驗證碼", SecretWeight::often},   {U"密钥", SecretWeight::often},
    {U"密鑰", SecretWeight::often},     {U"金鑰", SecretWeight::often},
    {U"私钥", SecretWeight::often},     {U"私鑰", SecretWeight::often},
};

constexpr LinkWord linkWords[] = {
    {U":", SecretLink::sign},        {U"=", SecretLink::sign},
    {U"→", SecretLink::sign},        {U"->", SecretLink::sign},
    {U"is", SecretLink::copula},     {U"was", SecretLink::copula},
    {U"are", SecretLink::copula},    {U"'s", SecretLink::copula},
    {U"’s", SecretLink::copula},     {U"to", SecretLink::change},
    {U"as", SecretLink::change},     {U"就是", SecretLink::copula},
    {U"是", SecretLink::copula},     {U"为", SecretLink::copula},
    {U"為", SecretLink::copula},     {U"改成了", SecretLink::copula},
    {U"换成了", SecretLink::copula}, {U"設成了", SecretLink::copula},
    {U"设成了", SecretLink::copula}, {U"改成", SecretLink::copula},
    {U"改为", SecretLink::copula},   {U"改為", SecretLink::copula},
    {U"设为", SecretLink::copula},   {U"設為", SecretLink::copula},
    {U"设成", SecretLink::copula},   {U"换成", SecretLink::copula},
    {U"換成", SecretLink::copula},   {U"叫", SecretLink::copula},
    {U"如下", SecretLink::copula},   {U"follows", SecretLink::change},
};

/// What is said of a secret without giving it away; each stands between blanks.
constexpr std::u32string_view plainTalk =
    U" a about after again also an and any app are as at auth authentication based be because been "
    U"before below but by can change changed changes could did do does email empty encrypted "
    U"expired "
    U"expires expiry feature field for form from generator had has have hash hashes here hint how "
    U"if "
    U"in incorrect into invalid is it length less link login manager managers may might missing "
    U"must "
    U"my needed no not now of off on only or our out over page policies policy prompt protected "
    U"protection recovery required requirement requirements reset resets rotation rule rules safe "
    U"same saved screen sent sharing should so still stored strength strong than that the their "
    U"them "
    U"then there they this today tomorrow too until up vault was we weak were what when where "
    U"which "
    U"while who why will with without wrong yesterday you your ";
constexpr std::u32string_view plainTalkInHan[] = {
    U"错", U"錯",   U"对的", U"對的", U"不",   U"否",   U"什么", U"什麼", U"多少", U"必", U"空",
    U"哪", U"加密", U"保存", U"明文", U"正确", U"正確", U"谁",   U"誰",   U"几位", U"啥", U"怎"};

constexpr std::size_t longestPlainWord = 15;

char32_t lowered(char32_t c) {
    return isAsciiUpper(c) ? c - U'A' + U'a' : c;
}

bool isWordCharacter(char32_t c) {
    return isAsciiLetter(c) || isAsciiDigit(c);
}

bool isLink(const ScreenedText& text, std::size_t at, std::u32string_view link) {
    const auto end = matchEnd(text, at, link);
    return end != at && !(isAsciiLetter(link.back()) && isWordCharacter(text[end]));
}

}  // namespace

std::size_t matchEnd(const ScreenedText& text, std::size_t at, std::u32string_view wanted) {
    auto next = at;
    for (const auto c : wanted) {
        const auto here = lowered(text[next]);
        if (c == U' ' && here != U' ') {
            next += here == U'_' || here == U'-' ? 1 : 0;
            continue;
        }
        if (here != c)
            return at;
        ++next;
    }
    return next;
}

const SecretWord* secretWordAt(const ScreenedText& text, std::size_t at) {
    constexpr std::u32string_view initials = U"pavst密口验驗金私";
    if (!initials.contains(lowered(text[at])))
        return nullptr;
    const auto* found = std::ranges::find_if(
        secretWords, [&](const SecretWord& word) { return matchEnd(text, at, word.text) != at; });
    return found == std::end(secretWords) ? nullptr : found;
}

const LinkWord* secretLinkAt(const ScreenedText& text, std::size_t at) {
    const auto* found = std::ranges::find_if(
        linkWords, [&](const LinkWord& one) { return isLink(text, at, one.text); });
    return found == std::end(linkWords) ? nullptr : found;
}

bool isPlainTalk(const ScreenedText& text, std::size_t at) {
    if (!isAsciiLetter(text[at]) && text[at] >= 0x80)
        return std::ranges::any_of(plainTalkInHan, [&](std::u32string_view talk) {
            return matchEnd(text, at, talk) != at;
        });
    std::u32string word = U" ";
    while (isAsciiLetter(text[at]) && word.size() <= longestPlainWord)
        word += lowered(text[at++]);
    return word.size() == 1 || plainTalk.contains(word + U' ');
}

}  // namespace quillet
