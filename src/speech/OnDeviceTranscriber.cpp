#include "speech/OnDeviceTranscriber.h"

#include "base/text/Translation.h"

namespace quillet {

std::string_view explanation(OnDeviceTranscriber::Failure failure) {
    switch (failure) {
        case OnDeviceTranscriber::Failure::permission:
            return toTranslate("Speech recognition permission denied");
        case OnDeviceTranscriber::Failure::unavailable:
            return toTranslate("On-device speech recognition is unavailable");
        case OnDeviceTranscriber::Failure::unsupportedLanguage:
            return toTranslate("This language isn't available for on-device recognition");
    }
    return {};
}

}  // namespace quillet
