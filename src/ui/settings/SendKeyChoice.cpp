#include "ui/settings/SendKeyChoice.h"

#include "ui/kit/UiText.h"

namespace quillet {

QString shownName(SendKeyType key) {
    switch (key) {
        case SendKeyType::enter:
            return label("Return");
        case SendKeyType::cmdEnter:
            return label("Ctrl+Return");
    }
    return {};
}

}  // namespace quillet
