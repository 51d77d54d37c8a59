#pragma once

#include "audio/RecordingArchive.h"
#include "base/async/Scheduler.h"
#include "base/async/TaskScope.h"
#include "meetings/MeetingArchive.h"
#include "platform/Calendar.h"
#include "settings/AppSettings.h"
#include "store/SessionStore.h"

namespace quillet {

/// Deletes what is older than the user wants to keep: at the start, and once a day. What early
/// versions left behind is deleted at the start.
class Housekeeping {
public:
    struct Services {
        Loop& loop;
        Scheduler& scheduler;
        const Calendar& calendar;
        const AppSettings& settings;
        SessionStore& history;
        RecordingArchive& archive;
        MeetingArchive& meetings;
        std::filesystem::path quilletHome;
    };

    explicit Housekeeping(Services services);

private:
    asio::awaitable<void> run();

    Services services_;
    TaskScope tasks_;
};

}  // namespace quillet
