#include "MultipartReader.h"

namespace quillet::fuzz {

namespace {

constexpr std::string_view lineEnd = "\r\n";

bool cutFrom(std::string_view& text, std::string_view start) {
    if (!text.starts_with(start))
        return false;
    text.remove_prefix(start.size());
    return true;
}

/// Takes what stands before a mark out of a text, and the mark.
std::optional<std::string_view> cutUpTo(std::string_view& text, std::string_view mark) {
    const auto end = text.find(mark);
    if (end == std::string_view::npos)
        return std::nullopt;
    const auto before = text.substr(0, end);
    text.remove_prefix(end + mark.size());
    return before;
}

/// Some servers end a line at either half of a line end, some end texts at a zero, and to some a
/// backslash takes the meaning from the quote behind it.
bool isPlain(std::string_view line) {
    return line.find_first_of({"\r\n\0\\", 4}) == std::string_view::npos;
}

/// Reads the parameters behind "form-data", and nothing but "name" and "filename".
bool readDisposition(std::string_view value, FormPart& part) {
    if (!cutFrom(value, "form-data; name=\""))
        return false;
    const auto name = cutUpTo(value, "\"");
    if (!name)
        return false;
    part.name = *name;
    if (cutFrom(value, "; filename=\"")) {
        const auto fileName = cutUpTo(value, "\"");
        if (!fileName)
            return false;
        part.fileName = *fileName;
    }
    return value.empty();
}

bool readHeader(std::string_view line, FormPart& part) {
    if (!isPlain(line))
        return false;
    if (cutFrom(line, "Content-Disposition: "))
        return part.name.empty() && readDisposition(line, part);
    if (cutFrom(line, "Content-Type: ")) {
        part.contentType = line;
        return true;
    }
    return false;
}

std::optional<FormPart> readPart(std::string_view text) {
    FormPart part;
    while (!text.starts_with(lineEnd)) {
        const auto line = cutUpTo(text, lineEnd);
        if (!line || !readHeader(*line, part))
            return std::nullopt;
    }
    part.content = text.substr(lineEnd.size());
    return part.name.empty() ? std::nullopt : std::optional(std::move(part));
}

}  // namespace

std::optional<std::vector<FormPart>> readForm(std::string_view body, std::string_view boundary) {
    const auto delimiter = "\r\n--" + std::string(boundary);
    if (!cutFrom(body, std::string_view(delimiter).substr(lineEnd.size())))
        return std::nullopt;
    std::vector<FormPart> parts;
    while (cutFrom(body, lineEnd)) {
        const auto text = cutUpTo(body, delimiter);
        auto part = text ? readPart(*text) : std::nullopt;
        if (!part)
            return std::nullopt;
        parts.push_back(std::move(*part));
    }
    return body == "--\r\n" ? std::optional(std::move(parts)) : std::nullopt;
}

}  // namespace quillet::fuzz
