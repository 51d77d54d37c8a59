#include "platform/linux/WellKnownApplications.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace quillet {

namespace {

struct Row {
    std::string_view linuxId;  // lower case
    std::string_view bundleID;
};

constexpr std::array table{
    // Chat
    Row{"wechat", "com.tencent.xinWeChat"},
    Row{"weixin", "com.tencent.xinWeChat"},
    Row{"com.tencent.wechat", "com.tencent.xinWeChat"},
    Row{"electronic-wechat", "com.tencent.xinWeChat"},
    Row{"wechat-uos", "com.tencent.xinWeChat"},
    Row{"qq", "com.tencent.qq"},
    Row{"linuxqq", "com.tencent.qq"},
    Row{"com.qq.qq", "com.tencent.qq"},
    Row{"telegram-desktop", "org.telegram.desktop"},
    Row{"telegramdesktop", "org.telegram.desktop"},
    Row{"telegram", "org.telegram.desktop"},
    Row{"org.telegram.desktop", "org.telegram.desktop"},
    Row{"discord", "com.hnc.Discord"},
    Row{"discordcanary", "com.hnc.Discord"},
    Row{"com.discordapp.discord", "com.hnc.Discord"},
    Row{"slack", "com.tinyspeck.slackmacgap"},
    Row{"com.slack.slack", "com.tinyspeck.slackmacgap"},
    Row{"messenger", "com.facebook.archon"},
    Row{"caprine", "com.facebook.archon"},
    Row{"com.sindresorhus.caprine", "com.facebook.archon"},
    Row{"whatsapp", "net.whatsapp.WhatsApp"},
    Row{"whatsapp-for-linux", "net.whatsapp.WhatsApp"},
    Row{"whatsapp-desktop", "net.whatsapp.WhatsApp"},
    Row{"zapzap", "net.whatsapp.WhatsApp"},
    Row{"com.rtosta.zapzap", "net.whatsapp.WhatsApp"},
    Row{"wasistlos", "net.whatsapp.WhatsApp"},
    Row{"com.github.xeco23.wasistlos", "net.whatsapp.WhatsApp"},
    Row{"com.github.eneshecan.whatsappforlinux", "net.whatsapp.WhatsApp"},
    Row{"teams", "com.microsoft.teams2"},
    Row{"microsoft teams - preview", "com.microsoft.teams2"},
    Row{"teams-for-linux", "com.microsoft.teams2"},
    Row{"com.github.ismaelmartinez.teams_for_linux", "com.microsoft.teams2"},
    Row{"lark", "com.electron.lark"},
    Row{"bytedance-lark", "com.electron.lark"},
    Row{"feishu", "com.bytedance.lark"},
    Row{"bytedance-feishu", "com.bytedance.lark"},
    Row{"cn.feishu.feishu", "com.bytedance.lark"},
    Row{"dingtalk", "com.alibaba.DingTalkMac"},
    Row{"com.alibabainc.dingtalk", "com.alibaba.DingTalkMac"},
    // Notes, texts, code
    Row{"obsidian", "md.obsidian"},
    Row{"md.obsidian.obsidian", "md.obsidian"},
    Row{"notion", "notion.id"},
    Row{"notion-app", "notion.id"},
    Row{"notion-app-enhanced", "notion.id"},
    Row{"code", "com.microsoft.VSCode"},
    Row{"code-oss", "com.microsoft.VSCode"},
    Row{"com.visualstudio.code", "com.microsoft.VSCode"},
    Row{"vscodium", "com.microsoft.VSCode"},
    Row{"codium", "com.microsoft.VSCode"},
    Row{"com.vscodium.codium", "com.microsoft.VSCode"},
    Row{"gnome-text-editor", "com.apple.TextEdit"},
    Row{"org.gnome.texteditor", "com.apple.TextEdit"},
    Row{"gedit", "com.apple.TextEdit"},
    Row{"org.gnome.gedit", "com.apple.TextEdit"},
    Row{"mousepad", "com.apple.TextEdit"},
    Row{"org.xfce.mousepad", "com.apple.TextEdit"},
    Row{"kate", "com.apple.TextEdit"},
    Row{"org.kde.kate", "com.apple.TextEdit"},
    Row{"kwrite", "com.apple.TextEdit"},
    Row{"org.kde.kwrite", "com.apple.TextEdit"},
    Row{"xed", "com.apple.TextEdit"},
    Row{"org.x.editor", "com.apple.TextEdit"},
    Row{"pluma", "com.apple.TextEdit"},
    Row{"featherpad", "com.apple.TextEdit"},
    Row{"gnotes", "com.apple.Notes"},
    Row{"gnote", "com.apple.Notes"},
    Row{"org.gnome.gnote", "com.apple.Notes"},
    Row{"bijiben", "com.apple.Notes"},
    Row{"org.gnome.notes", "com.apple.Notes"},
    // Keepers of secrets
    Row{"keepassxc", "com.apple.keychainaccess"},
    Row{"org.keepassxc.keepassxc", "com.apple.keychainaccess"},
    Row{"keepass", "com.apple.keychainaccess"},
    Row{"keepass2", "com.apple.keychainaccess"},
    Row{"seahorse", "com.apple.keychainaccess"},
    Row{"org.gnome.seahorse.application", "com.apple.keychainaccess"},
    Row{"secrets", "com.apple.keychainaccess"},
    Row{"org.gnome.world.secrets", "com.apple.keychainaccess"},
    Row{"1password", "com.agilebits.onepassword"},
    Row{"com.onepassword.onepassword", "com.agilebits.onepassword"},
    Row{"bitwarden", "com.bitwarden.desktop"},
    Row{"com.bitwarden.desktop", "com.bitwarden.desktop"},
    Row{"lastpass", "com.lastpass.LastPass"},
};

}  // namespace

std::optional<std::string_view> WellKnownApplications::bundleID(std::string_view linuxId) {
    std::string lower(linuxId);
    std::ranges::transform(lower, lower.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const auto row = std::ranges::find(table, lower, &Row::linuxId);
    if (row == table.end())
        return std::nullopt;
    return row->bundleID;
}

}  // namespace quillet
