#!/usr/bin/python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Prints what the program "lumicrate" exposes on the accessibility bus: one JSON object per line and visible object,
parents before their children. "problem" says what somebody who does not see the object would miss."""
import json
import re
import sys

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

STATES = {
    Atspi.StateType.CHECKED: "checked",
    Atspi.StateType.CHECKABLE: "checkable",
    Atspi.StateType.ENABLED: "enabled",
    Atspi.StateType.FOCUSABLE: "focusable",
    Atspi.StateType.FOCUSED: "focused",
    Atspi.StateType.SELECTED: "selected",
}


ACTIONABLE = {
    "push button", "check box", "radio button", "toggle button", "slider", "progress bar", "text", "entry", "combo box",
    "list", "list item", "menu item", "check menu item", "radio menu item", "spin button", "link",
}
VALUED = {"slider", "progress bar", "spin button"}
SHAPELESS = {"filler", "unknown", "invalid", "redundant object"}


def value_of(item):
    if "Value" not in item.get_interfaces():
        return None
    return [Atspi.Value.get_minimum_value(item), Atspi.Value.get_current_value(item), Atspi.Value.get_maximum_value(item)]


def problem_of(role, name, states, value, depth):
    if role in ACTIONABLE and not name.strip():
        return "has no name"
    if re.fullmatch(r"[a-z0-9]+(\.[a-z0-9]+)+|.*\.svg", name) and role != "list item":
        return "is named like an icon"
    if role in SHAPELESS and ("focusable" in states or depth == 0):
        return "has no role"
    if role in VALUED and value is None:
        return "has no value"
    return ""


def show(item, window, depth):
    states = item.get_state_set()
    if not states.contains(Atspi.StateType.VISIBLE) or not states.contains(Atspi.StateType.SHOWING):
        return
    role, name, value = item.get_role_name(), item.get_name(), value_of(item)
    names = [text for state, text in STATES.items() if states.contains(state)]
    print(json.dumps({
        "window": window,
        "depth": depth,
        "role": role,
        "name": name,
        "description": item.get_description(),
        "states": names,
        "value": value,
        "problem": problem_of(role, name, names, value, depth),
    }))
    for index in range(min(item.get_child_count(), 200)):
        if child := item.get_child_at_index(index):
            show(child, window, depth + 1)


def main():
    desktop = Atspi.get_desktop(0)
    for number in range(desktop.get_child_count()):
        program = desktop.get_child_at_index(number)
        if not program or not program.get_name().lower().startswith("lumicrate"):
            continue
        for index in range(program.get_child_count()):
            try:
                window = program.get_child_at_index(index)
                show(window, window.get_name(), 0)
            except GLib.GError as gone:  # closed meanwhile
                print(gone.message, file=sys.stderr)


main()
