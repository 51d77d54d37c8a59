#include "store/TranscriptEntry.h"

namespace quillet {

std::string_view storedName(EntryKind kind) {
    switch (kind) {
        case EntryKind::dictation:
            return "dictation";
        case EntryKind::live:
            return "live";
    }
    return "dictation";
}

EntryKind kindStoredAs(std::string_view name) {
    return name == storedName(EntryKind::live) ? EntryKind::live : EntryKind::dictation;
}

}  // namespace quillet
