#include "speech/ModelArchive.h"

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "base/text/Translation.h"

namespace quillet {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t blockSize = 1UL << 16;

/// The entry's name below the target folder; empty when it points elsewhere.
fs::path safeName(const char* name) {
    const fs::path path = fs::path(name == nullptr ? "" : name).lexically_normal();
    const bool escapes =
        path.is_absolute() || std::ranges::find(path, fs::path("..")) != path.end();
    return escapes ? fs::path() : path;
}

std::string errorText(struct archive* handle) {
    if (const int number = archive_errno(handle); number == ENOSPC || number == EDQUOT)
        return translated("the disk is full");
    const char* text = archive_error_string(handle);
    return text == nullptr ? translated("it is not an archive") : text;
}

}  // namespace

std::expected<void, std::string> extractArchive(const fs::path& file, const fs::path& folder,
                                                const std::stop_token& stop) {
    const std::unique_ptr<struct archive, decltype(&archive_read_free)> reader(archive_read_new(),
                                                                               archive_read_free);
    archive_read_support_filter_all(reader.get());
    archive_read_support_format_tar(reader.get());
    archive_read_support_format_zip(reader.get());
    const std::unique_ptr<struct archive, decltype(&archive_write_free)> writer(
        archive_write_disk_new(), archive_write_free);
    archive_write_disk_set_options(
        writer.get(), ARCHIVE_EXTRACT_SECURE_SYMLINKS | ARCHIVE_EXTRACT_SECURE_NODOTDOT);
    if (archive_read_open_filename(reader.get(), file.c_str(), blockSize) != ARCHIVE_OK)
        return std::unexpected(errorText(reader.get()));

    archive_entry* entry = nullptr;
    int status = ARCHIVE_OK;
    while ((status = archive_read_next_header(reader.get(), &entry)) == ARCHIVE_OK) {
        const auto name = safeName(archive_entry_pathname(entry));
        const auto type = archive_entry_filetype(entry);
        // A model is plain files in folders; links and devices have no business in it.
        const bool plain =
            (type == AE_IFREG || type == AE_IFDIR) && archive_entry_hardlink(entry) == nullptr;
        if (name.empty() || !plain)
            continue;
        archive_entry_set_pathname(entry, (folder / name).c_str());
        if (archive_write_header(writer.get(), entry) != ARCHIVE_OK)
            return std::unexpected(errorText(writer.get()));
        const void* data = nullptr;
        std::size_t size = 0;
        la_int64_t offset = 0;
        while ((status = archive_read_data_block(reader.get(), &data, &size, &offset)) ==
               ARCHIVE_OK) {
            if (stop.stop_requested())
                return std::unexpected(translated("it was cancelled"));
            if (archive_write_data_block(writer.get(), data, size, offset) < 0)
                return std::unexpected(errorText(writer.get()));
        }
        if (status != ARCHIVE_EOF)
            return std::unexpected(errorText(reader.get()));
    }
    if (status != ARCHIVE_EOF)
        return std::unexpected(errorText(reader.get()));
    return {};
}

}  // namespace quillet
