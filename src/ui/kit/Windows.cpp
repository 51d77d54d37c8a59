#include "ui/kit/Windows.h"

#include <QGuiApplication>
#include <QScreen>
#include <QShortcut>
#include <algorithm>
#include <nlohmann/json.hpp>
#include <vector>

namespace quillet {

namespace {

using nlohmann::json;

struct WindowName {
    WindowKind kind;
    std::string_view name;
};
constexpr WindowName names[] = {
    {WindowKind::guide, "guide"},       {WindowKind::settings, "settings"},
    {WindowKind::history, "history"},   {WindowKind::recordings, "recordings"},
    {WindowKind::review, "review"},     {WindowKind::knowledge, "knowledge"},
    {WindowKind::meetings, "meetings"},
};

constexpr std::string_view placesKey = "windowPlacesV1";

}  // namespace

std::string_view nameOf(WindowKind kind) {
    return std::ranges::find(names, kind, &WindowName::kind)->name;
}

std::optional<WindowKind> windowNamed(std::string_view name) {
    const auto* found = std::ranges::find(names, name, &WindowName::name);
    return found == std::end(names) ? std::nullopt : std::optional(found->kind);
}

/// Notes where a window was when it is closed, and lets go of it.
struct Windows::Place : QObject {
    Place(Windows& keeper, WindowKind which, QWidget* window)
        : QObject(window), windows(keeper), kind(which) {
        window->installEventFilter(this);
    }

    bool eventFilter(QObject* window, QEvent* event) override {
        if (event->type() == QEvent::Close && window == parent())
            windows.keepPlace(kind, static_cast<QWidget&>(*window));
        return false;
    }

    Windows& windows;
    WindowKind kind;
};

Windows::~Windows() {
    closeAll();
}

void Windows::offer(WindowKind kind, Maker make) {
    makers_.insert_or_assign(kind, std::move(make));
}

QWidget* Windows::open(WindowKind kind) {
    auto& window = open_[kind];
    if (window == nullptr) {
        const auto maker = makers_.find(kind);
        if (maker == makers_.end())
            return nullptr;
        window = maker->second().release();
        window->setAttribute(Qt::WA_DeleteOnClose);
        window->setObjectName(QString::fromUtf8(nameOf(kind).data()));
        new Place(*this, kind, window);
        for (const auto& keys : {QKeySequence(Qt::Key_Escape), QKeySequence(QKeySequence::Close)})
            QObject::connect(new QShortcut(keys, window), &QShortcut::activated, window,
                             &QWidget::close);
        restorePlace(kind, *window);
    }
    window->setWindowState(window->windowState() & ~Qt::WindowMinimized);
    window->show();
    window->raise();
    window->activateWindow();
    return window;
}

bool Windows::isOpen(WindowKind kind) const {
    const auto found = open_.find(kind);
    return found != open_.end() && found->second != nullptr;
}

void Windows::closeAll() {
    for (const auto& [kind, window] : open_) {
        if (window == nullptr)
            continue;
        keepPlace(kind, *window);
        delete window.data();
    }
    open_.clear();
}

void Windows::reopen() {
    std::vector<WindowKind> kinds;
    for (const auto& [kind, window] : open_) {
        if (window != nullptr)
            kinds.push_back(kind);
    }
    for (const auto kind : kinds) {
        // What changes the language may be a control of this very window.
        auto* outdated = open_[kind].data();
        keepPlace(kind, *outdated);
        outdated->hide();
        outdated->deleteLater();
        open_.erase(kind);
        open(kind);
    }
}

void Windows::keepPlace(WindowKind kind, const QWidget& window) {
    auto places = defaults_.get(placesKey).value_or(json::object());
    if (!places.is_object())
        places = json::object();
    const auto state = window.saveGeometry().toBase64().toStdString();
    const std::string name(nameOf(kind));
    if (places.value(name, json()) == state)
        return;
    places[name] = state;
    // A place that cannot be stored is forgotten.
    (void)defaults_.set(placesKey, std::move(places));
}

void Windows::restorePlace(WindowKind kind, QWidget& window) const {
    const auto places = defaults_.get(placesKey);
    const auto state =
        places && places->is_object() ? places->value(std::string(nameOf(kind)), json()) : json();
    if (state.is_string() && window.restoreGeometry(QByteArray::fromBase64(
                                 QByteArray::fromStdString(state.get<std::string>()))))
        return;
    const auto area = QGuiApplication::primaryScreen()->availableGeometry();
    window.resize(window.size().boundedTo(area.size()));
    window.move(area.center() - window.rect().center());
}

}  // namespace quillet
