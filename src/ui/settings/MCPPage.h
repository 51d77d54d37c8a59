#pragma once

#include "app/MCPService.h"
#include "base/async/TaskScope.h"
#include "ui/settings/SettingsPage.h"

class QLabel;
class QPlainTextEdit;
class QPushButton;

namespace quillet {

/// Lets the user's own AI clients in, and shows how one is set up. The key is shown only while they
/// are let in.
class MCPPage : public SettingsPage {
public:
    struct Services {
        Loop& loop;
        MCPService& mcp;
    };

    MCPPage(const Binding& binding, Services services);

private:
    void addSwitches();
    void addSetUp();
    void refresh();
    void showCommand(const MCPService::Command& command);
    void copy();
    asio::awaitable<void> look();
    asio::awaitable<void> renew();

    Services services_;
    QLabel* state_ = nullptr;
    QWidget* setUp_ = nullptr;
    QPlainTextEdit* command_ = nullptr;
    QPushButton* copy_ = nullptr;
    TaskHandle looking_;
    TaskScope tasks_;
};

}  // namespace quillet
