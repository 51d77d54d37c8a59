#include "ui/settings/MCPPage.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QFontDatabase>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>

#include "ui/kit/Question.h"
#include "ui/kit/UiText.h"

namespace quillet {

namespace {

constexpr int commandLines = 4;

}  // namespace

MCPPage::MCPPage(const Binding& binding, Services services)
    : SettingsPage(binding), services_(services), tasks_(services.loop) {
    addSwitches();
    addSetUp();
    follow([this] { refresh(); });
    on(mcpChangedNotification, [this] { refresh(); });
}

void MCPPage::addSwitches() {
    auto* form = addSection(label("Your AI"));
    addSwitch(
        *form, "mcpEnabled", label("Let my AI use Quillet (local MCP server)"),
        label("AI programs on this computer that you set up with a command from this page can "
              "then read what you dictated, your meeting notes and your knowledge base. "
              "Nobody else can, and nothing is reachable from the network."));
    auto* control =
        addSwitch(*form, "mcpAllowControl",
                  label("Allow AI to record and type (start a dictation, type into apps, edit "
                        "vocabulary)"));
    follow([this, control] { control->setEnabled(record().mcpEnabled); });
    state_ = addNote(*form, {});
    state_->setTextInteractionFlags(Qt::TextSelectableByMouse);
}

void MCPPage::addSetUp() {
    auto* form = addSection(label("Setup Command"));
    setUp_ = form->parentWidget();
    addNote(*form,
            label("Run this in a terminal to set a client up. It holds the key that lets the "
                  "client in; keep it to yourself."));
    command_ = new QPlainTextEdit;
    command_->setReadOnly(true);
    command_->setTabChangesFocus(true);
    command_->setAccessibleName(label("Setup command"));
    command_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    command_->setWordWrapMode(QTextOption::WrapAnywhere);
    command_->setFixedHeight(command_->fontMetrics().lineSpacing() * commandLines +
                             2 * command_->frameWidth() +
                             static_cast<int>(2 * command_->document()->documentMargin()));
    form->addRow(command_);
    copy_ = new QPushButton(QIcon::fromTheme(QStringLiteral("edit-copy")), label("&Copy"));
    auto* fresh = new QPushButton(label("&New Key"));
    auto* row = new QHBoxLayout;
    row->addWidget(copy_);
    row->addStretch();
    row->addWidget(fresh);
    form->addRow(row);
    connect(copy_, &QPushButton::clicked, this, &MCPPage::copy);
    connect(fresh, &QPushButton::clicked, this, [this] {
        askFirst(
            this,
            {label("Make a new key?"),
             label("AI clients set up with the old key are shut out until they are set up with "
                   "the new command."),
             label("New Key")},
            [this] { tasks_.spawn(renew()); });
    });
}

void MCPPage::refresh() {
    looking_.cancel();
    const bool isOn = record().mcpEnabled;
    setUp_->setVisible(isOn);
    if (!isOn) {
        command_->clear();
        state_->setText(label("Off. No AI client is let in."));
        return;
    }
    looking_ = tasks_.spawn(look());
}

void MCPPage::copy() {
    QApplication::clipboard()->setText(command_->toPlainText());
    messages().showInfo(label("The command is copied. It holds the key."));
}

void MCPPage::showCommand(const MCPService::Command& command) {
    command_->setPlainText(command ? fromText(*command) : QString());
    command_->setPlaceholderText(command ? QString() : label(command.error()));
    copy_->setEnabled(command.has_value());
}

asio::awaitable<void> MCPPage::look() {
    const auto state = co_await services_.mcp.state();
    state_->setText(state.isListening ? label("On: {}", state.url)
                                      : label("On, but not listening. {}", state.problem));
    showCommand(co_await services_.mcp.setupCommand());
}

asio::awaitable<void> MCPPage::renew() {
    const auto command = co_await services_.mcp.newKey();
    if (!command) {
        messages().showError(label(command.error()));
        co_return;
    }
    showCommand(command);
    messages().showInfo(label("AI clients set up with the old key now need this command."));
}

}  // namespace quillet
