#include "speech/OnDeviceTranscriber.h"

namespace quillet {

std::string_view explanation(OnDeviceTranscriber::Failure failure) {
    switch (failure) {
        case OnDeviceTranscriber::Failure::permission:
            return "Speech recognition permission denied";
        case OnDeviceTranscriber::Failure::unavailable:
            return "On-device speech recognition is unavailable";
        case OnDeviceTranscriber::Failure::unsupportedLanguage:
            return "This language isn't available for on-device recognition";
    }
    return {};
}

}  // namespace quillet
