#!/usr/bin/python3
"""A first Play, a failure and an alert, met as a screen reader meets them: through the system's
accessibility bus only.

usage: walk_with_a_screen_reader.py PROGRAM

Needs a display and a session bus. Starts the program, and presses what it needs on the way.
"""

import re
import subprocess
import sys
import time

import gi

gi.require_version("Atspi", "2.0")
import pyatspi  # noqa: E402
from gi.repository import GLib  # noqa: E402

LONGEST_WAIT = 60
NO_BUS = 77

said = []  # (name, description) of each notification and alert that appeared, in order
bar = []  # the values that the progress bar had


def role_of(item):
    """The role's name; what used to be a push button is a button since at-spi2 2.54."""
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
        pass  # gone before it could be asked


def until(what, condition):
    """Serves events until the condition holds; returns what it returned."""
    deadline = time.monotonic() + LONGEST_WAIT
    while True:
        try:
            found = condition()
        except (GLib.Error, LookupError):
            found = None  # the thing went away while it was asked
        if found:
            return found
        if program.poll() is not None:
            sys.exit(f"the program ended while waiting for {what}")
        if time.monotonic() > deadline:
            describe(launcher())
            sys.exit(f"waited in vain for {what}; said so far: {said}")
        GLib.MainContext.default().iteration(True)


def check(condition, what):
    if not condition:
        describe(launcher())
        sys.exit(f"not so: {what}")


def launcher():
    for application in pyatspi.Registry.getDesktop(0):
        if application and application.name == "Brindle":
            return application
    return None


def everything(top):
    """All that is below, in the order in which it is read."""
    for child in top or ():
        if child:
            child.clearCache()
            yield child
            yield from everything(child)


def find(role, name):
    """What can be seen of that role and name."""
    for item in everything(launcher()):
        if role_of(item) == role and re.fullmatch(name, item.name):
            if has(item, pyatspi.STATE_SHOWING):
                return item
    return None


def shown(role, name):
    return until(f"the {role} \"{name}\"", lambda: find(role, name))


def has(item, *states):
    held = item.getState()
    return all(held.contains(state) for state in states)


def has_the_keyboard(name, *states):
    """Waits until a button has the keyboard, and these states with it."""
    states += (pyatspi.STATE_FOCUSED, pyatspi.STATE_FOCUSABLE, pyatspi.STATE_SENSITIVE)
    until(f"the keyboard to be at \"{name}\"",
          lambda: has(shown("button", name), *states))


def press(name):
    button = reach(name)
    actions = button.queryAction()
    names = [actions.getName(i) for i in range(actions.nActions)]
    actions.doAction(names.index("Press"))


def reach(name):
    """A button that can be seen; one that is scrolled away is given the keyboard first."""
    def focus():
        found = find("button", name)
        if not found:
            for item in everything(launcher()):
                if role_of(item) == "button" and re.fullmatch(name, item.name):
                    if "Component" in pyatspi.listInterfaces(item):
                        item.queryComponent().grabFocus()
        return found

    return until(f"the button \"{name}\"", focus)


def announced(name):
    """Waits for the next announcement of that name; returns its description."""
    def next_one():
        while said:
            heard_name, description = said.pop(0)
            if heard_name == name:
                return (description,)
        return None

    return until(f"the announcement \"{name}\"", next_one)[0]


def describe(top, depth=0):
    for child in top or ():
        if child:
            print("  " * depth, child.getRoleName(), repr(child.name), repr(child.description),
                  [state.value_nick for state in child.getState().getStates()])
            describe(child, depth + 1)


def first_play():
    shown("status bar", "Not downloaded")
    shown("heading", "Brindle")
    has_the_keyboard("Play")
    check(shown("button", "Play").description == "", "Play can be pressed")
    check(find("button", "Cancel") is None, "there is nothing to cancel yet")

    press("Play")
    announced("Downloading")
    shown("button", "Cancel")
    check(shown("button", "Play").description == "Not available now", "Play is off")
    shown("progress bar", "Progress")
    announced("Setting up")
    check(any(0 < value < 1 for value in bar), f"the progress bar told its values: {bar}")
    announced("Starting…")
    shown("button", "Stop")
    announced("Playing")
    shown("label", "The game is open in its own window\\.")
    press("Stop")
    announced("Ready")
    check(shown("button", "Play").description == "", "Play can be pressed again")


def failure():
    press("Settings")
    dialog = shown("dialog", "Settings")
    check(any(role_of(item) == "heading" for item in everything(dialog)), "it has a heading")
    check(find("button", "About") is None, "content below a sheet is out of reach")
    for name, chosen in (("Windowed", True), ("Fullscreen", False), ("Game default", True)):
        check(has(shown("radio button", name), pyatspi.STATE_CHECKED) == chosen, name)
    has_the_keyboard("Done", pyatspi.STATE_IS_DEFAULT)
    press("Update the game \\(download again, keep saves\\)")
    announced("Downloading")
    announced("Ready")
    until("the sheet's end", lambda: find("heading", "Settings") is None)

    # The task ends a moment after the state.
    until("the failure", lambda: press("Play") or find("status bar", "(Starting…|Needs something)"))
    message = announced("Needs something")
    check(message.startswith("The game "), f"the announcement says what is needed: {message}")
    shown("label", re.escape(message))
    shown("panel", "Failure")
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
    question = shown("alert", "Remove the game and the engine\\?")
    buttons = [item for item in everything(question) if role_of(item) == "button"]
    check([button.name for button in buttons] == ["Remove", "Cancel"], "it has its two buttons")
    has_the_keyboard("Remove", pyatspi.STATE_IS_DEFAULT)
    check(not has(buttons[1], pyatspi.STATE_IS_DEFAULT), "and Cancel is not")
    press("Cancel")
    until("the alert's end", lambda: find("alert", ".*") is None)
    shown("status bar", "Needs something")


try:
    pyatspi.Registry.getDesktop(0)
    pyatspi.Registry.registerEventListener(
        heard, "object:announcement", "object:state-changed:showing",
        "object:property-change:accessible-value")
except GLib.Error as error:
    print(f"an accessibility bus can't be started here: {error}")
    sys.exit(NO_BUS)
# So that waiting wakes up also while nothing happens.
GLib.timeout_add(50, lambda: True)

program = subprocess.Popen(sys.argv[1:])
try:
    first_play()
    failure()
    alert()
    print("the walk ended as it should")
finally:
    program.terminate()
    program.wait(LONGEST_WAIT)
