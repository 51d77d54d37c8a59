#include "ui/settings/KeyState.h"

#include "ui/kit/UiText.h"

namespace quillet {

bool KeyState::isUsable() const {
    return isStored.value_or(false) &&
           (givenFor.empty() || wantedBy.empty() || givenFor == wantedBy);
}

QString KeyState::sentence() const {
    if (!isStored)
        return label(explanation(isStored.error()));
    if (!*isStored)
        return label("No key is stored.");
    if (givenFor.empty())
        return label("A key is stored. It will belong to the first server that needs it.");
    if (!isUsable())
        return label(
            "The key that is stored was given for {} and is not sent to {}. Enter the key for this "
            "server.",
            givenFor, wantedBy);
    return label("A key is stored. It is sent to {} only.", givenFor);
}

}  // namespace quillet
