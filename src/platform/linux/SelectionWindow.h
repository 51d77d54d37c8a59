#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quillet {

/// An invisible window that owns and asks for selections, on a connection of its own. Belongs to
/// one thread. Calls wait for the X server but never for another client.
class SelectionWindow {
public:
    using Atom = std::uint32_t;
    using Window = std::uint32_t;
    using Time = std::uint32_t;
    using OnEvent = std::function<void(const xcb_generic_event_t&)>;

    struct Property {
        Atom type = 0;  ///< 0: there is no such property
        int unitBits = 8;
        std::string bytes;
        bool isCut = false;  ///< longer than was asked for
    };

    /// None when the display cannot be had or has no XFixes extension.
    [[nodiscard]] static std::unique_ptr<SelectionWindow> open(const std::string& displayName);
    ~SelectionWindow();
    SelectionWindow(const SelectionWindow&) = delete;
    SelectionWindow& operator=(const SelectionWindow&) = delete;

    [[nodiscard]] xcb_connection_t* xcb() const { return xcb_; }
    [[nodiscard]] Window id() const { return id_; }
    [[nodiscard]] int fd() const;
    [[nodiscard]] bool isLost() const;
    [[nodiscard]] int selectionEvent() const { return selectionEvent_; }

    [[nodiscard]] Atom atom(const std::string& name);
    [[nodiscard]] std::vector<Atom> atoms(const std::vector<std::string>& names);
    [[nodiscard]] std::string name(Atom atom);

    /// Hands every event that has arrived to `handle`.
    void drain(const OnEvent& handle);
    /// The server's time now. Events that come meanwhile go to `handle`.
    [[nodiscard]] Time serverTime(const OnEvent& handle);

    [[nodiscard]] Window owner(Atom selection);
    /// Reads a property and removes it.
    [[nodiscard]] Property take(Window window, Atom property, std::size_t mostBytes);
    void write(Window window, Atom property, Atom type, int unitBits, std::string_view bytes);
    void writeAtoms(Window window, Atom property, const std::vector<Atom>& values);
    void flush();

private:
    SelectionWindow(xcb_connection_t* xcb, int selectionEvent);

    xcb_connection_t* xcb_;
    int selectionEvent_;
    Window id_ = 0;
    Atom clock_ = 0;
    std::map<std::string, Atom, std::less<>> atomsByName_;
    std::map<Atom, std::string> namesByAtom_;
};

}  // namespace quillet
