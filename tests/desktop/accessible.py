"""Quillet's windows as assistive technology has them: controls by their names."""

import re
import time

from gi.repository import GLib

from desktop import output_of, until
from keyboard import press
from programs import Atspi, accessible_program, active_window, children

Role, State = Atspi.Role, Atspi.StateType

# What a user works with; each has a name, and Tab comes to it.
CONTROLS = {Role.CHECK_BOX, Role.COMBO_BOX, Role.LINK, Role.LIST, Role.PASSWORD_TEXT,
            Role.PUSH_BUTTON, Role.RADIO_BUTTON, Role.SLIDER, Role.SPIN_BUTTON, Role.TABLE,
            Role.TEXT, Role.TOGGLE_BUTTON, Role.TREE}
WITH_LINES = {Role.COMBO_BOX, Role.LIST, Role.TABLE, Role.TREE}


def has(node, state):
    return node.get_state_set().contains(state)


def text_of(node):
    return Atspi.Text.get_text(node, 0, Atspi.Text.get_character_count(node))


def name_of(control):
    """What is read out before a control's value: its name or that of the label beside it."""
    labels = [relation.get_target(place).get_name() for relation in control.get_relation_set()
              if relation.get_relation_type() == Atspi.RelationType.LABELLED_BY
              for place in range(relation.get_n_targets())]
    # The toolkit gives a combo box its value for a name.
    own = "" if control.get_role() == Role.COMBO_BOX else control.get_name()
    return own or " ".join(labels)


def shown_below(node):
    """All that is seen within a node. What the toolkit makes within a field or a box for itself,
    such as the list that opens, is left out."""
    for child in children(node):
        if has(child, State.SHOWING):
            yield child
            if child.get_role() not in (Role.COMBO_BOX, Role.TEXT, Role.PASSWORD_TEXT):
                yield from shown_below(child)


def act(node, name):
    """Does what a control offers under this name, such as "Press"."""
    for place in range(node.get_n_actions()):
        if Atspi.Action.get_action_name(node, place) == name:
            Atspi.Action.do_action(node, place)
            return
    raise AssertionError(f"{node.get_name()!r} offers no {name!r}")


def path_to_focus(node):
    """What holds the focus below a node, from the outermost; empty when nothing does."""
    for child in children(node):
        if has(child, State.SHOWING):
            # A line of a list says that it has the focus even where its list has not.
            inner = [] if child.get_role() in WITH_LINES else path_to_focus(child)
            if inner or has(child, State.FOCUSED):
                return [child, *inner]
    return []


def chosen_in(view):
    """The line of a list or a tree that is selected; None when none is."""
    view.clear_cache()
    return next((line.get_name() for line in children(view) if has(line, State.SELECTED)), None)


class AccessibleWindows:
    """All that one program shows."""

    def __init__(self, process_id):
        self.process_id = process_id

    def ids(self):
        return set(output_of("xdotool", "search", "--onlyvisible", "--pid",
                             self.process_id).split())

    def all(self):
        return [ShownWindow(self.process_id, window) for window in self.ids()]

    def opened_by(self, act_, what):
        """The window that comes when something is done."""
        before = self.ids()
        act_()
        found = until(lambda: self.ids() - before, 10, what)
        return ShownWindow(self.process_id, found.pop()).await_front()


class ShownWindow:
    """One window."""

    def __init__(self, process_id, window_id):
        self.process_id = process_id
        self.id = window_id

    def await_front(self):
        until(lambda: active_window() == self.id, 5, "the window to be in front")
        until(self.root, 5, f"{self.title()!r} to show up in accessibility")
        return self

    def title(self):
        """The window's own; the window manager shows the program's name behind it."""
        return re.sub(" — (Quillet|笔至)$", "", output_of("xdotool", "getwindowname", self.id))

    def root(self):
        return next((window for window in children(accessible_program(self.process_id))
                     if window.get_name() == self.title()), None)

    def width(self):
        return int(re.search(r"WIDTH=(\d+)", output_of("xdotool", "getwindowgeometry", "--shell",
                                                       self.id))[1])

    def is_open(self):
        return self.id in AccessibleWindows(self.process_id).ids()

    def _asked(self, question):
        """The answer to a question about what is seen. It is asked again where something goes while
        it is looked at."""
        def ask():
            try:
                return [question()]
            except GLib.GError:
                return None
        return until(ask, 5, f"{self.title()!r} to hold still")[0]

    def shown(self):
        return self._asked(lambda: list(shown_below(self.root())))

    def controls(self):
        return [node for node in self.shown() if node.get_role() in CONTROLS]

    def find(self, name, role=None):
        """What is seen under this name; None if nothing is."""
        return self._asked(lambda: next(
            (node for node in shown_below(self.root()) if role in (None, node.get_role())
             and name in (name_of(node), node.get_name())), None))

    def get(self, name, role=None):
        return until(lambda: self.find(name, role), 5, f"{name!r} in {self.title()!r}")

    def says(self, part):
        """Whether a sentence that is seen holds this text."""
        return self._asked(lambda: any(part in node.get_name()
                                       for node in shown_below(self.root())))

    def press(self, name):
        until(lambda: has(self.get(name, Role.PUSH_BUTTON), State.ENABLED), 5,
              f"{name!r} to be offered")
        act(self.get(name, Role.PUSH_BUTTON), "Press")

    def items(self, name):
        """The lines of a list or the cells of a tree."""
        return self._asked(lambda: [item.get_name() for item in children(self.get(name))])

    def choose(self, name, item):
        """Goes to the line of a list or a tree with this name, with the arrow keys."""
        view = self.focus(name)
        press("Home")
        for _ in range(len(children(view))):
            if (before := chosen_in(view)) == item:
                return
            press("Down")
            until(lambda: chosen_in(view) != before, 2, f"another line than {before!r}")
        raise AssertionError(f"{item!r} is not in {name!r}")

    def focus(self, name):
        """Goes to a control as the keyboard does."""
        control = self.get(name)
        for _ in range(100):
            if control in self.focused():
                return control
            self.tab()
        raise AssertionError(f"Tab does not come to {name!r}")

    def tab(self, before=None):
        """Presses Tab and waits until what was focused no longer is, unless there is nothing else
        to go to. Returns what is focused then."""
        before = self.focused() if before is None else before
        press("Tab")
        deadline = time.monotonic() + 0.5
        while (path := self.focused()) == before and time.monotonic() < deadline:
            time.sleep(0.005)
        return path

    def focused(self):
        """Where the keys go, from what the window holds to the innermost."""
        root = self.root()
        return path_to_focus(root) if root else []
