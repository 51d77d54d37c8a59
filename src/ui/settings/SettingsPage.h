#pragma once

#include <QScrollArea>
#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "base/notification/NotificationCenter.h"
#include "settings/AppSettings.h"
#include "ui/kit/MessageBar.h"

class QAbstractButton;
class QCheckBox;
class QComboBox;
class QFormLayout;
class QLabel;
class QVBoxLayout;

namespace quillet {

class TextSetting;

/// One page of the settings: sections, one below the other. What is bound to a setting saves it at
/// once and follows it when it is changed elsewhere.
class SettingsPage : public QScrollArea {
public:
    struct Binding {
        AppSettings& settings;
        NotificationCenter& notifications;
        MessageBar& messages;  ///< of the window
    };

    explicit SettingsPage(Binding binding);

protected:
    struct Choice {
        QString text;
        std::string value;  ///< as the setting is stored
    };
    struct Text {
        std::string_view setting;
        QString name;  ///< with a mnemonic
        QString placeholder;
        QString refusal;  ///< a sentence on what is accepted
    };

    /// A headline with a form below it. The form's parent widget is the section, to be hidden.
    QFormLayout* addSection(const QString& title);
    /// A widget below a form, for one whose height changes, which a form squeezes its rows for.
    void addBelow(QFormLayout& form, QWidget& widget);
    enum class Height { needed, whatThereIs };
    /// The same with a column of widgets, such as a table.
    QVBoxLayout* addColumn(const QString& title, Height height = Height::needed);

    QLabel* addNote(QFormLayout& form, const QString& text);
    /// A button that is checked, with what it means below it; that line, where there is one.
    QLabel* addExplained(QFormLayout& form, QAbstractButton& button, const QString& description);
    QCheckBox* addSwitch(QFormLayout& form, std::string_view setting, const QString& text,
                         const QString& description = {});
    TextSetting* addText(QFormLayout& form, const Text& text);
    QComboBox* addChoice(QFormLayout& form, std::string_view setting, const QString& name,
                         const std::vector<Choice>& choices);

    /// Calls `show` now, and whenever the settings have changed.
    void follow(std::function<void()> show);
    /// Called with every notification of this name.
    void on(std::string_view notification, std::function<void()> handler);

    /// Saves a setting; false when the value is not accepted. That it could not be written to the
    /// disk is told in the window.
    bool save(std::string_view setting, const nlohmann::json& value);
    /// False when it could not be written, which is told.
    bool change(const std::function<void(QuilletSettings&)>& edit);
    /// Saves what was typed and not saved yet, when the page goes.
    void whenLeft(std::function<void()> save) { unsaved_.push_back(std::move(save)); }

    [[nodiscard]] const QuilletSettings& record() const { return binding_.settings.record(); }
    [[nodiscard]] AppSettings& settings() { return binding_.settings; }
    [[nodiscard]] MessageBar& messages() { return binding_.messages; }
    [[nodiscard]] const Binding& binding() const { return binding_; }

    void hideEvent(QHideEvent* event) override;

    /// For the destructor of a page whose controls ask it something when work of theirs ends: they
    /// go before it.
    void deleteControls() { delete takeWidget(); }

private:
    QVBoxLayout* addBox(const QString& title);

    Binding binding_;
    QVBoxLayout* column_;
    std::vector<std::function<void()>> unsaved_;
    std::vector<std::function<void()>> followers_;
    std::vector<NotificationCenter::Subscription> subscriptions_;
};

/// A line of explanation, smaller than what it explains.
[[nodiscard]] QLabel* newNote(const QString& text);
/// Shows a sentence that came up, and makes room for all of it at this width.
void showSentence(QLabel& shown, const QString& sentence, int width);
/// A label's text as assistive technology reads it.
[[nodiscard]] QString withoutMnemonic(QString text);

}  // namespace quillet
