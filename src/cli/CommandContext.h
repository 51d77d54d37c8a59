#pragma once

#include <functional>
#include <iosfwd>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "base/async/CommandLoop.h"
#include "base/http/ServicePurpose.h"
#include "base/log/Log.h"
#include "platform/Paths.h"

namespace quillet {

class AppProfileStore;
class AppSettings;
class Consent;
class HttpClient;
class JsonUserDefaults;
class NotificationCenter;

/// How a command ended.
enum class ExitCode {
    success = 0,
    failed = 1,      ///< it was understood and could not be done; a sentence says why
    usage = 2,       ///< the command line is not understood
    notRunning = 3,  ///< the application would be needed, and does not run
};

/// What commands work with. Services are made when they are first asked for, so that a command that
/// needs none answers at once.
class CommandContext {
public:
    CommandContext(Paths paths, Log log, std::ostream& out, std::ostream& err);
    ~CommandContext();

    /// A line for the user.
    void say(std::string_view line);
    /// Text as it is, without a line break.
    void write(std::string_view text);
    /// A value as a program reads it: pretty-printed with sorted keys.
    void print(const nlohmann::json& value);
    /// A line on standard error that the next one replaces, where somebody watches; empty: none.
    void progress(std::string_view line);
    /// A sentence on what went wrong; returns `code`.
    ExitCode fail(std::string_view sentence, ExitCode code = ExitCode::failed);

    [[nodiscard]] AppSettings& settings();
    /// An id that nothing else has.
    [[nodiscard]] static std::string freshId();
    [[nodiscard]] AppProfileStore& profiles();
    [[nodiscard]] Consent& consent();
    /// Sends only what the user allows; asks on the terminal, where there is one.
    [[nodiscard]] HttpClient& http(ServicePurpose purpose);

    const Paths paths;
    const Log log;
    CommandLoop loop;
    bool json = false;               ///< --json was given
    std::vector<std::string> words;  ///< of the command line, without the program's name

private:
    struct Network;
    struct Services;
    Services& services();

    std::ostream& out_;
    std::ostream& err_;
    std::unique_ptr<Services> services_;
};

}  // namespace quillet
