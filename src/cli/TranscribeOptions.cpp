#include "cli/TranscribeOptions.h"

#include <CLI/CLI.hpp>

namespace quillet {

void TranscribeOptions::addTo(CLI::App& parser) {
    parser.add_option("files", files, "Audio files of any kind")->required()->type_name("FILE");
    parser.add_option("--engine", engine, "apple (on this device) or cloud (a server)")
        ->check(CLI::IsMember({"apple", "cloud"}));
    parser.add_option("--language", language, "What is spoken, instead of the setting");
}

}  // namespace quillet
