#pragma once

#include <QPointer>
#include <QWidget>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string_view>

#include "platform/UserDefaults.h"

namespace quillet {

/// The windows that a user can open, in the order of `control::windows`, which names them.
enum class WindowKind { settings, history, recordings, review, knowledge, meetings, guide };

/// "settings": what `quillet open` calls it.
[[nodiscard]] std::string_view nameOf(WindowKind kind);
[[nodiscard]] std::optional<WindowKind> windowNamed(std::string_view name);

/// The application's windows: each is made when it is opened and gone when it is closed, so that
/// one that is not seen costs nothing. They keep their places and sizes. Belongs to the main
/// queue's thread.
class Windows {
public:
    using Maker = std::function<std::unique_ptr<QWidget>()>;

    explicit Windows(UserDefaults& defaults) : defaults_(defaults) {}
    ~Windows();
    Windows(const Windows&) = delete;
    Windows& operator=(const Windows&) = delete;

    /// Says how a window is made: a top-level widget with its title and a sensible size.
    void offer(WindowKind kind, Maker make);
    [[nodiscard]] bool isOffered(WindowKind kind) const { return makers_.contains(kind); }
    /// Shows a window, in front; makes it where it is not open. None where it is not offered.
    QWidget* open(WindowKind kind);
    [[nodiscard]] bool isOpen(WindowKind kind) const;
    /// Makes those that are open anew: their texts are outdated.
    void reopen();
    /// Closes all of them, which ends what they do.
    void closeAll();

private:
    struct Place;

    void keepPlace(WindowKind kind, const QWidget& window);
    [[nodiscard]] bool restorePlace(WindowKind kind, QWidget& window) const;

    UserDefaults& defaults_;
    std::map<WindowKind, Maker> makers_;
    std::map<WindowKind, QPointer<QWidget>> open_;
};

}  // namespace quillet
