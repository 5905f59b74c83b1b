#!/usr/bin/python3
"""Walks through a first Play, a failure and an alert by the accessibility bus alone, as screen
readers do.

usage: walk_with_a_screen_reader.py PROGRAM

Needs a display and a session bus.
"""

import re
import subprocess
import sys
import time

import gi

gi.require_version("Atspi", "2.0")
import pyatspi  # noqa: E402
from gi.repository import Atspi, GLib  # noqa: E402

LONGEST_WAIT = 60
NO_BUS = 77

said = []  # (name, description) of each announcement and alert, in order
bar = []  # the values of the progress bar


def role_of(item):
    """Returns the role's name. at-spi2 2.54 renamed "push button" to "button"."""
    return item.getRoleName().removeprefix("push ")


def heard(event):
    try:
        role = role_of(event.source)
        if event.type == "object:announcement":
            name, _, description = event.any_data.partition("\n")
            said.append((name, description))
        elif role in ("notification", "alert") and event.type.startswith("object:state-changed"):
            if event.detail1:
                said.append((event.source.name, event.source.description))
        elif role == "progress bar" and event.type.startswith("object:property-change"):
            bar.append(event.source.queryValue().currentValue)
    except GLib.Error:
        pass  # the item has gone


def until(what, condition):
    """Serves events until the condition holds. Returns the condition's value."""
    deadline = time.monotonic() + LONGEST_WAIT
    while True:
        try:
            found = condition()
        except (GLib.Error, LookupError):
            found = None  # the item has gone
        if found:
            return found
        if program.poll() is not None:
            sys.exit(f"the program ended while waiting for {what}")
        if time.monotonic() > deadline:
            tree = [f"{role_of(item)} {item.name!r}" for item in everything()]
            sys.exit(f"waited in vain for {what}; said so far: {said}; shown: {tree}")
        GLib.MainContext.default().iteration(True)


def check(condition, what):
    if not condition:
        sys.exit(f"not so: {what}")


def everything(top=None):
    """Yields all items below `top` or the launcher, in reading order."""
    if top is None:
        top = next((application for application in pyatspi.Registry.getDesktop(0)
                    if application and application.name == "Brindle"), ())
    for child in top:
        if child:
            child.clearCache()
            yield child
            yield from everything(child)


def has(item, *states):
    return all(item.getState().contains(state) for state in states)


def find(role, name):
    """Returns the visible item of that role and name, or None."""
    for item in everything():
        if role_of(item) == role and re.fullmatch(name, item.name):
            if has(item, pyatspi.STATE_SHOWING):
                return item
    return None


def shown(role, name):
    return until(f"the {role} \"{name}\"", lambda: find(role, name))


def has_the_keyboard(name, *states):
    """Waits until a button has the keyboard and these states."""
    states += (pyatspi.STATE_FOCUSED, pyatspi.STATE_FOCUSABLE, pyatspi.STATE_SENSITIVE)
    until(f"the keyboard to be at \"{name}\"", lambda: has(shown("button", name), *states))


def reach(name):
    """Returns a visible button. If it is scrolled out of sight, first gives it the keyboard."""
    def focus():
        found = find("button", name)
        if not found:
            for item in everything():
                if role_of(item) == "button" and re.fullmatch(name, item.name):
                    item.queryComponent().grabFocus()
        return found

    return until(f"the button \"{name}\"", focus)


def press(name):
    actions = reach(name).queryAction()
    names = [actions.getName(i) for i in range(actions.nActions)]
    actions.doAction(names.index("Press"))


def announced(name):
    """Waits for the next announcement of that name. Returns its description."""
    def next_one():
        while said:
            heard_name, description = said.pop(0)
            if heard_name == name:
                return (description,)
        return None

    return until(f"the announcement \"{name}\"", next_one)[0]


def first_play():
    shown("status bar", "Not downloaded")
    shown("heading", "Brindle")
    has_the_keyboard("Play")
    press("Play")
    announced("Downloading")
    check(shown("button", "Play").description == "Not available now", "Play is off")
    shown("progress bar", "Progress")
    announced("Setting up")
    check(any(0 < value < 1 for value in bar), f"the progress bar told its values: {bar}")
    announced("Starting…")
    announced("Playing")
    shown("label", "The game is open in its own window\\.")
    press("Stop")
    announced("Ready")
    until("Play to be there again", lambda: shown("button", "Play").description == "")


def failure():
    press("Settings")
    shown("dialog", "Settings")
    check(has(shown("radio button", "Windowed"), pyatspi.STATE_CHECKED), "a choice is checked")
    has_the_keyboard("Done", pyatspi.STATE_IS_DEFAULT)
    press("Update the game \\(download again, keep saves\\)")
    announced("Downloading")
    announced("Ready")
    until("the sheet's end", lambda: find("heading", "Settings") is None)

    # The task ends shortly after the change of state.
    until("the failure", lambda: press("Play") or find("status bar", "(Starting…|Needs something)"))
    message = announced("Needs something")
    check(message.startswith("The game "), f"the announcement says what is needed: {message}")
    lines = shown("text", "Last lines of the log")
    check(has(lines, pyatspi.STATE_READ_ONLY, pyatspi.STATE_MULTI_LINE)
          and not has(lines, pyatspi.STATE_EDITABLE), "the lines are there to be read")
    text = lines.queryText()
    check("SCRIPT ERROR" in text.getText(0, text.characterCount), "the lines tell the error")
    reach("Copy the failure")


def alert():
    press("Settings")
    press("Remove everything \\(frees [0-9.]+ [KM]B\\)")
    description = announced("Remove the game and the engine?")
    check(description.startswith("This frees "), f"the alert is read whole: {description}")
    has_the_keyboard("Remove", pyatspi.STATE_IS_DEFAULT)
    press("Cancel")
    until("the alert's end", lambda: find("alert", ".*") is None)
    shown("status bar", "Needs something")


try:
    # By default, a call fails if the program is busy for 0.8 s, and its announcement would be lost.
    Atspi.set_timeout(LONGEST_WAIT * 1000, -1)
    pyatspi.Registry.getDesktop(0)
    pyatspi.Registry.registerEventListener(
        heard, "object:announcement", "object:state-changed:showing",
        "object:property-change:accessible-value")
except GLib.Error as error:
    print(f"an accessibility bus can't be started here: {error}")
    sys.exit(NO_BUS)
GLib.timeout_add(50, lambda: True)  # wakes `until` while nothing happens

program = subprocess.Popen(sys.argv[1:])
try:
    first_play()
    failure()
    alert()
finally:
    program.terminate()
    program.wait(LONGEST_WAIT)
