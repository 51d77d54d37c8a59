#include "platform/linux/XdgAutostart.h"

#include <fmt/format.h>

#include <cstdlib>
#include <string_view>

#include "base/file/JsonFile.h"
#include "platform/linux/GlibPointers.h"

namespace quillet {

namespace {

namespace fs = std::filesystem;

constexpr const char* group = G_KEY_FILE_DESKTOP_GROUP;
constexpr const char* hidden = G_KEY_FILE_DESKTOP_KEY_HIDDEN;
constexpr const char* enabled = "X-GNOME-Autostart-enabled";

struct KeyFileUnref {
    void operator()(GKeyFile* file) const { g_key_file_unref(file); }
};
using KeyFile = std::unique_ptr<GKeyFile, KeyFileUnref>;

/// None unless it can be read as a desktop entry.
KeyFile read(const fs::path& file) {
    KeyFile entry(g_key_file_new());
    constexpr auto everything =
        static_cast<GKeyFileFlags>(G_KEY_FILE_KEEP_COMMENTS | G_KEY_FILE_KEEP_TRANSLATIONS);
    if (g_key_file_load_from_file(entry.get(), file.c_str(), everything, nullptr) == FALSE ||
        g_key_file_has_group(entry.get(), group) == FALSE)
        return {};
    return entry;
}

/// None when the entry does not say it.
std::optional<bool> flag(GKeyFile* entry, const char* key) {
    GErrorPtr error;
    const bool value = g_key_file_get_boolean(entry, group, key, ErrorOut(error)) != FALSE;
    return error ? std::nullopt : std::optional(value);
}

/// A path as one argument of an entry's command line.
std::string quoted(const std::string& path) {
    std::string text = "\"";
    for (const char c : path) {
        if (c == '%')
            text += '%';
        else if (c == '"' || c == '`' || c == '$' || c == '\\')
            text += '\\';
        text += c;
    }
    return text + '"';
}

void write(GKeyFile* entry, const char* key, const std::string& value) {
    g_key_file_set_string(entry, group, key, value.c_str());
}

KeyFile newEntry() {
    KeyFile entry(g_key_file_new());
    write(entry.get(), G_KEY_FILE_DESKTOP_KEY_TYPE, "Application");
    write(entry.get(), G_KEY_FILE_DESKTOP_KEY_NAME, "Quillet");
    write(entry.get(), G_KEY_FILE_DESKTOP_KEY_ICON, "com.quillet.Quillet");
    return entry;
}

fs::path folderOr(const char* variable, fs::path otherwise) {
    const char* value = ::getenv(variable);
    return value != nullptr && *value == '/' ? fs::path(value) : std::move(otherwise);
}

}  // namespace

XdgAutostart::XdgAutostart(Folders folders, fs::path program)
    : folders_(std::move(folders)), program_(std::move(program)) {}

XdgAutostart::Folders XdgAutostart::environmentFolders() {
    const char* home = ::getenv("HOME");
    Folders folders{folderOr("XDG_CONFIG_HOME", fs::path(home ? home : "/") / ".config"), {}};
    folders.user /= "autostart";
    const char* given = ::getenv("XDG_CONFIG_DIRS");
    std::string_view all = given != nullptr && *given != '\0' ? given : "/etc/xdg";
    while (!all.empty()) {
        const auto one = all.substr(0, all.find(':'));
        all.remove_prefix(std::min(one.size() + 1, all.size()));
        if (one.starts_with('/'))
            folders.system.push_back(fs::path(one) / "autostart");
    }
    return folders;
}

std::optional<fs::path> XdgAutostart::file() const {
    auto places = folders_.system;
    places.insert(places.begin(), folders_.user);
    std::error_code ec;
    for (const auto& place : places) {
        if (fs::exists(place / fileName, ec))
            return place / fileName;
    }
    return std::nullopt;
}

bool XdgAutostart::isOn() const {
    const auto present = file();
    const auto entry = present ? read(*present) : KeyFile();
    return entry && !flag(entry.get(), hidden).value_or(false) &&
           flag(entry.get(), enabled).value_or(true);
}

std::expected<void, std::string> XdgAutostart::set(bool on) {
    if (on == isOn())
        return {};
    const auto present = file();
    auto entry = present ? read(*present) : KeyFile();
    if (!entry)
        entry = newEntry();
    if (on) {
        // The one that is there may name a place where the program was once.
        write(entry.get(), G_KEY_FILE_DESKTOP_KEY_EXEC, quoted(program_.string()));
        write(entry.get(), G_KEY_FILE_DESKTOP_KEY_TRY_EXEC, program_.string());
    }
    g_key_file_set_boolean(entry.get(), group, hidden, on ? FALSE : TRUE);
    g_key_file_set_boolean(entry.get(), group, enabled, on ? TRUE : FALSE);
    const GString8 text(g_key_file_to_data(entry.get(), nullptr, nullptr));
    const auto place = folders_.user / fileName;
    if (!writeFileAtomically(place, text.get()))
        return std::unexpected(fmt::format("{} cannot be written.", place.string()));
    return {};
}

}  // namespace quillet
