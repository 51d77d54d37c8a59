#include "speech/VoskLibrary.h"

#include <dlfcn.h>

namespace quillet {

namespace {

constexpr const char* fileName = "libvosk.so";

template <class Function>
bool resolve(void* library, const char* name, Function& into) {
    into = reinterpret_cast<Function>(::dlsym(library, name));
    return into != nullptr;
}

}  // namespace

std::optional<std::filesystem::path> VoskLibrary::find(
    const std::vector<std::filesystem::path>& folders) {
    std::error_code ec;
    for (const auto& folder : folders) {
        if (std::filesystem::exists(folder / fileName, ec))
            return folder / fileName;
    }
    return std::nullopt;
}

std::shared_ptr<const VoskLibrary> VoskLibrary::load(const std::filesystem::path& file) {
    // Never closed: the engine keeps threads and thread-local state of its own.
    void* library = ::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
        return nullptr;
    auto functions = std::make_shared<VoskLibrary>();
    const bool complete =
        resolve(library, "vosk_model_new", functions->modelNew) &&
        resolve(library, "vosk_model_free", functions->modelFree) &&
        resolve(library, "vosk_recognizer_new", functions->recognizerNew) &&
        resolve(library, "vosk_recognizer_free", functions->recognizerFree) &&
        resolve(library, "vosk_recognizer_accept_waveform_s", functions->acceptWaveform) &&
        resolve(library, "vosk_recognizer_result", functions->result) &&
        resolve(library, "vosk_recognizer_partial_result", functions->partialResult) &&
        resolve(library, "vosk_recognizer_final_result", functions->finalResult) &&
        resolve(library, "vosk_set_log_level", functions->setLogLevel);
    if (!complete)
        return nullptr;
    constexpr int errorsOnly = -1;
    functions->setLogLevel(errorsOnly);
    return functions;
}

}  // namespace quillet
