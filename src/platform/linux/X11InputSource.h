#pragma once

#include <memory>
#include <vector>

#include "platform/InputSource.h"

namespace quillet {

class X11Connection;
class X11Keymap;

/// The keyboard layouts of an X server, its XKB groups. Their ids are made of layout and variant:
/// "xkb:us", "xkb:us(dvorak)".
class X11InputSource final : public InputSource {
public:
    explicit X11InputSource(const std::string& displayName);
    ~X11InputSource() override;

    std::string current() override;
    bool canTypeAscii() override;
    bool select(std::string_view id) override;

private:
    [[nodiscard]] bool refresh();
    [[nodiscard]] std::vector<std::string> ids();

    std::unique_ptr<X11Connection> connection_;
    std::unique_ptr<X11Keymap> keymap_;
};

}  // namespace quillet
