#include "ui/kit/UiText.h"

namespace quillet {

QString fromText(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

std::string toText(const QString& text) {
    return text.toStdString();
}

QString counted(std::string_view singular, std::string_view plural, long count) {
    return fromText(fmt::format(fmt::runtime(translated(singular, plural, count)), count));
}

}  // namespace quillet
