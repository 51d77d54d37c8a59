#include "ui/kit/Windows.h"

#include <QGuiApplication>
#include <QScreen>
#include <QShortcut>
#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "base/rpc/ControlProtocol.h"

namespace quillet {

namespace {

using nlohmann::json;

static_assert(control::windows[std::to_underlying(WindowKind::guide)] == "guide");
static_assert(std::size(control::windows) == std::to_underlying(WindowKind::guide) + 1);

constexpr std::string_view placesKey = "windowPlacesV1";

/// Makes a window that is larger than the screen has room for smaller, and brings it into view.
void fitInto(const QRect& area, QWidget& window) {
    if (window.isMaximized() || window.isFullScreen() || area.contains(window.frameGeometry()))
        return;
    const auto frame = window.frameGeometry().size() - window.size();
    window.resize(window.size().boundedTo(area.size() - frame));
    const auto outer = window.frameGeometry();
    const auto inside = [](int at, int least, int most) {
        return std::max(std::min(at, most), least);
    };
    window.move(inside(outer.x(), area.left(), area.right() + 1 - outer.width()),
                inside(outer.y(), area.top(), area.bottom() + 1 - outer.height()));
}

/// In the middle of the screen. How thick the frame will be is not known before it is there.
void placeAnew(QWidget& window) {
    const auto area = QGuiApplication::primaryScreen()->availableGeometry();
    window.resize(window.size().boundedTo(area.size()));
    window.move(area.center() - window.rect().center());
}

}  // namespace

std::string_view nameOf(WindowKind kind) {
    return control::windows[std::to_underlying(kind)];
}

std::optional<WindowKind> windowNamed(std::string_view name) {
    const auto* found = std::ranges::find(control::windows, name);
    if (found == std::end(control::windows))
        return std::nullopt;
    return static_cast<WindowKind>(std::distance(std::begin(control::windows), found));
}

/// Keeps a window on the screen once its frame is there, and notes where it was when it is closed.
struct Windows::Place : QObject {
    Place(Windows& keeper, WindowKind which, QWidget* window)
        : QObject(window), windows(keeper), kind(which) {
        window->installEventFilter(this);
    }

    bool eventFilter(QObject* window, QEvent* event) override {
        if (window != parent())
            return false;
        auto& widget = static_cast<QWidget&>(*window);
        if (event->type() == QEvent::Close)
            windows.keepPlace(kind, widget);
        else if (event->type() == QEvent::WindowActivate && !std::exchange(isFitted, true))
            fitInto(widget.screen()->availableGeometry(), widget);
        return false;
    }

    Windows& windows;
    WindowKind kind;
    bool isFitted = false;
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
        if (!restorePlace(kind, *window))
            placeAnew(*window);
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

bool Windows::restorePlace(WindowKind kind, QWidget& window) const {
    const auto places = defaults_.get(placesKey);
    const auto state =
        places && places->is_object() ? places->value(std::string(nameOf(kind)), json()) : json();
    return state.is_string() && window.restoreGeometry(QByteArray::fromBase64(
                                    QByteArray::fromStdString(state.get<std::string>())));
}

}  // namespace quillet
