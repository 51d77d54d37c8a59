#pragma once

#include <functional>

#include "base/async/TaskScope.h"
#include "memory/KnowledgeKeeper.h"
#include "memory/NightlyReviewer.h"
#include "ui/kit/Windows.h"
#include "ui/settings/SettingsPage.h"

class QProgressBar;
class QPushButton;

namespace quillet {

/// What Quillet may remember of what is said, and the night's work on it.
class MemoryPage : public SettingsPage {
public:
    struct Services {
        Loop& loop;
        NightlyReviewer& reviewer;
        KnowledgeKeeper& knowledge;
        const LLMRefiner& llm;
        const Calendar& calendar;
        std::function<void(WindowKind)> open;
    };

    MemoryPage(const Binding& binding, Services services);

private:
    void addSwitches();
    void addNight();
    void showState();
    [[nodiscard]] bool isRunning() const;
    asio::awaitable<void> look();
    void cancel();
    asio::awaitable<void> run();

    Services services_;
    QLabel* review_ = nullptr;
    QLabel* knowledge_ = nullptr;
    QLabel* missing_ = nullptr;
    QPushButton* run_ = nullptr;
    QPushButton* cancel_ = nullptr;
    QProgressBar* progress_ = nullptr;
    bool isAsked_ = false;      // to run, from here
    bool isCancelled_ = false;  // what follows what is running too
    TaskHandle looking_;
    TaskScope tasks_;
};

}  // namespace quillet
