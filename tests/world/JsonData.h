#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace quillet::world {

/// A file below the tests' folder. Throws when it is no JSON, which fails the test.
inline nlohmann::json jsonData(const std::string& path) {
    std::ifstream file(QUILLET_TEST_FOLDER "/" + path);
    return nlohmann::json::parse(file);
}

/// The files of a folder below the tests' folder, in the order of their names.
inline std::vector<std::string> jsonFiles(const std::string& folder) {
    std::vector<std::string> files;
    for (const auto& entry :
         std::filesystem::directory_iterator(QUILLET_TEST_FOLDER "/" + folder)) {
        if (entry.path().extension() == ".json")
            files.push_back(folder + "/" + entry.path().filename().string());
    }
    std::ranges::sort(files);
    return files;
}

}  // namespace quillet::world
