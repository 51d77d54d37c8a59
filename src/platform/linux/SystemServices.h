#pragma once

#include <filesystem>
#include <string_view>

#include "platform/Calendar.h"
#include "platform/IdSource.h"
#include "platform/Paths.h"

namespace quillet {

/// The system's wall clock and time zone.
class SystemCalendar final : public Calendar {
public:
    UnixTime now() const override;
    std::chrono::local_seconds local(UnixTime time) const override;
};

/// Random UUIDs of the kernel.
class KernelIds final : public IdSource {
public:
    std::string uuid() override;
};

/// Where things are, as the environment says it.
[[nodiscard]] Paths pathsFromEnvironment();

/// The language of the desktop, such as "zh_CN"; empty where it is not known.
[[nodiscard]] std::string desktopLanguage();

/// Another program of ours: it lies in the folder of the one that runs or, where only what users
/// call stands there, in ../lib/quillet.
[[nodiscard]] std::filesystem::path programBeside(std::string_view name);

/// Makes large blocks of memory go back to the system when they are freed. By default the first one
/// that is freed makes the allocator keep the later ones for good. Call first.
void giveLargeBlocksBack();

/// Raises how many files and sockets this process may have open, as far as it is allowed to and
/// could ever need.
void allowManyDescriptors();
/// How many it may have open.
[[nodiscard]] int descriptorsAllowed();

/// Whether the user asked, by QUILLET_LOG_PRIVATE=1, to see private text in the log.
[[nodiscard]] bool privateTextWanted();

}  // namespace quillet
