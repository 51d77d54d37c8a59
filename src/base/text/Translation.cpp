#include "base/text/Translation.h"

#include <mutex>
#include <utility>

namespace quillet {

namespace {

struct Language {
    std::mutex lock;
    std::shared_ptr<const MessageCatalogue> catalogue;  // guarded by the lock
};

Language& language() {
    static Language one;
    return one;
}

std::shared_ptr<const MessageCatalogue> catalogue() {
    const std::scoped_lock guard(language().lock);
    return language().catalogue;
}

}  // namespace

std::string translated(std::string_view english) {
    const auto texts = catalogue();
    return std::string(texts ? texts->find(english).value_or(english) : english);
}

std::string translated(std::string_view singular, std::string_view plural, long count) {
    const auto english = count == 1 ? singular : plural;
    const auto texts = catalogue();
    return std::string(texts ? texts->find(singular, count).value_or(english) : english);
}

void useCatalogue(std::shared_ptr<const MessageCatalogue> catalogue) {
    const std::scoped_lock guard(language().lock);
    language().catalogue = std::move(catalogue);
}

}  // namespace quillet
