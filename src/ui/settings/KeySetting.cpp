#include "ui/settings/KeySetting.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "base/async/Checkpoint.h"
#include "base/async/ToItsEnd.h"
#include "base/http/Url.h"
#include "ui/kit/Question.h"
#include "ui/kit/UiText.h"
#include "ui/settings/SettingsPage.h"

namespace quillet {

KeySetting::KeySetting(Services services, Key key)
    : services_(services),
      key_(std::move(key)),
      edit_(new QLineEdit),
      remove_(new QPushButton(label("Remove"))),
      unlock_(new QPushButton(label("Unlock Keyring…"))),
      state_(newNote(label("Looking into the keyring…"))),
      tasks_(services.loop) {
    buildRow();
    setFocusProxy(edit_);
    setFocusPolicy(edit_->focusPolicy());  // a label's mnemonic goes by this
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    connect(edit_, &QLineEdit::editingFinished, this, &KeySetting::commit);
    connect(unlock_, &QPushButton::clicked, this, [this] { tasks_.spawn(unlock()); });
    connect(remove_, &QPushButton::clicked, this, [this] {
        askFirst(this,
                 {label("Remove this key from the keyring?"),
                  label("The service cannot be used until you enter one again."), label("Remove")},
                 [this] { store({}); });
    });
    refresh();
}

void KeySetting::buildRow() {
    edit_->setEchoMode(QLineEdit::Password);
    edit_->setAccessibleName(key_.name);
    remove_->setAccessibleName(label("Remove the key: {}", toText(key_.name)));
    remove_->hide();
    unlock_->hide();
    auto* row = new QHBoxLayout;
    row->addWidget(edit_, 1);
    row->addWidget(remove_);
    row->addWidget(unlock_);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins({});
    column->addLayout(row);
    column->addWidget(state_);
}

void KeySetting::refresh() {
    looking_.cancel();
    looking_ = tasks_.spawn(look());
}

void KeySetting::commit() {
    const auto typed = edit_->text().trimmed();
    if (typed.isEmpty())
        return;
    edit_->clear();
    store(toText(typed));
}

void KeySetting::store(std::string value) {
    looking_.cancel();
    state_->setText(label("Storing…"));
    tasks_.spawn(write(std::move(value), key_.address()));
}

KeyState KeySetting::stateOf(std::expected<bool, Keychain::Error> isStored) const {
    const auto url = parseUrl(key_.address());
    const auto wantedBy = url ? url->server() : std::string();
    auto givenFor = services_.settings.secretHost(key_.secret);
    if (!givenFor.empty() && url && services_.settings.isSecretFor(key_.secret, *url))
        givenFor = wantedBy;
    return {isStored, std::move(givenFor), wantedBy};
}

void KeySetting::show(const KeyState& state) {
    const bool isStored = state.isStored.value_or(false);
    auto font = state_->font();
    font.setBold(!state.isStored || (isStored && !state.isUsable()));
    state_->setFont(font);
    showSentence(*state_, state.sentence(), width());
    edit_->setPlaceholderText(isStored ? label("Stored — type to replace it") : key_.placeholder);
    edit_->setAccessibleDescription(state_->text());
    remove_->setVisible(isStored);
    unlock_->setVisible(!state.isStored && state.isStored.error() == Keychain::Error::locked);
    if (told_)
        told_(state);
}

asio::awaitable<void> KeySetting::look() {
    const auto value = co_await services_.settings.secret(key_.secret);
    co_await checkpoint();
    if (value)
        show(stateOf(!value->empty()));
    else
        show(stateOf(std::unexpected(value.error())));
}

asio::awaitable<void> KeySetting::write(std::string value, std::string address) {
    // What was typed last is stored although the page is being closed.
    co_await toItsEnd();
    const bool isStored = !value.empty();
    const auto written =
        co_await services_.settings.setSecret(key_.secret, std::move(value), std::move(address));
    if (written)
        show(stateOf(isStored));
    else
        show(stateOf(std::unexpected(written.error())));
}

asio::awaitable<void> KeySetting::unlock() {
    const auto unlocked = co_await services_.keychain.unlock();
    co_await checkpoint();
    if (!unlocked)
        show(stateOf(std::unexpected(unlocked.error())));
    else
        co_await look();
}

}  // namespace quillet
