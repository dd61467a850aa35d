#!/usr/bin/python3
"""Walks the real meterimport through the accessibility bus (AT-SPI), as a
screen reader sees it, on every screen of the wizard, in the help window, in
the message boxes and on every tab of the setup dialogs, in one language: it
fails on a control a person reaches (by Tab, or a bar or picture a reader
announces) that has no name, on any text shown in the other language, on a
progress bar that does not tell its value and on a meter picture that is not
described by the meter's name. The wizard is driven by keystrokes (xdotool);
every wait is for a state of the tree, bounded.
  accessibility_walk.py BUILD_DIR SOURCE_DIR LANGUAGE
Needs DISPLAY, the session bus with the accessibility bus, and the demo
installation's environment (scripts/demo-installation.sh)."""

import os
import re
import subprocess
import sys
import time

import pyatspi

build, source, language = sys.argv[1:4]
german = language == "Deutsch"
faults = []


# ---- Which language a text is in --------------------------------------------

def catalogue(name):
    texts = {}
    with open(os.path.join(source, "data/languages", name + ".lng"), encoding="utf-8") as file:
        for line in file:
            line = line.rstrip("\r\n")
            if not line or line[0] in ";#" or "=" not in line:
                continue
            number, text = line.split("=", 1)
            texts[number.strip()] = text.replace("\\n", "\n").replace("\\t", "\t")
    return texts


def plain(text):
    return re.sub(r"&(.)", r"\1", text).strip()


def pieces(texts):
    found = set()
    for text in texts.values():
        for part in text.split("|"):
            for line in part.split("\n"):
                line = plain(line)
                if len(line) >= 3:
                    found.add(line)
    return found


OWN = catalogue(language)
FOREIGN = pieces(catalogue("English" if german else "Deutsch")) - pieces(OWN)
QT_ENGLISH = {"Cancel", "Close", "Yes", "No", "Open", "Save", "Apply", "Discard", "Abort",
              "Retry", "Ignore", "Reset", "Help", "Copy", "Select All", "Copy Link Location"}


def foreign(text):
    for line in text.split("\n"):
        line = plain(line)
        for piece in FOREIGN:
            argument = piece.find("%1")
            if line == piece or (argument >= 6 and line.startswith(piece[:argument])):
                return "the other catalogue's"
        if german and line in QT_ENGLISH:
            return "Qt's English"
        if not german and re.search("[äöüÄÖÜß„“]", line):
            return "German"
    return None


# ---- The tree ------------------------------------------------------------------

# Besides what takes the focus, a reader announces these. (The icon of a
# message box is decoration: the box's role says what kind it is.)
REACHED_ROLES = {pyatspi.ROLE_PROGRESS_BAR, pyatspi.ROLE_IMAGE, pyatspi.ROLE_PAGE_TAB}


def objects(root):
    """Every object below `root` that is showing, with its depth-first path."""
    stack = [root]
    while stack:
        node = stack.pop()
        try:
            showing = node.getState().contains(pyatspi.STATE_SHOWING)
            children = [node.getChildAtIndex(i) for i in range(node.childCount)]
        except Exception:  # an object gone while it was walked
            continue
        if showing or node.getRole() == pyatspi.ROLE_APPLICATION:
            yield node
            stack.extend(child for child in reversed(children) if child is not None)


def application():
    """The module started last, found by its process."""
    for app in pyatspi.Registry.getDesktop(0):
        try:
            if app is not None and module is not None and app.get_process_id() == module.pid:
                return app
        except Exception:  # an application gone while it was asked
            continue
    return None


def wait_for(what, predicate, tenths=300):
    for _ in range(tenths):
        app = application()
        if app is not None:
            try:
                found = predicate(app)
            except Exception:
                found = None
            if found:
                return found
        time.sleep(0.1)
    faults.append("never came: " + what)
    raise SystemExit(report())


def showing(role, name=None):
    """A predicate: the first showing object of `role` (named `name`)."""
    def find(app):
        for node in objects(app):
            if node.getRole() == role and (name is None or plain(node.name) == plain(name)):
                return node
        return None
    return find


def walk(where, meter=None):
    """Looks at every showing object of the module as a reader finds it."""
    app = application()
    for node in objects(app):
        role = node.getRole()
        # The icon of a message box says nothing its text does not say.
        if role == pyatspi.ROLE_IMAGE and node.parent.getRole() in (pyatspi.ROLE_ALERT,
                                                                    pyatspi.ROLE_DIALOG):
            continue
        name, description = node.name or "", node.description or ""
        state = node.getState()
        at = "%s: %s %r" % (where, node.getRoleName(), name)
        for text in (name, description):
            why = foreign(text)
            if why:
                faults.append("%s: %r is %s" % (at, text, why))
        reached = state.contains(pyatspi.STATE_FOCUSABLE) or role in REACHED_ROLES
        if reached and role != pyatspi.ROLE_APPLICATION and not name.strip():
            faults.append(at + " has no name")
        if role == pyatspi.ROLE_PROGRESS_BAR:
            try:
                value = node.queryValue()
                if not value.minimumValue <= value.currentValue <= value.maximumValue:
                    faults.append(at + " tells a value outside its range")
            except NotImplementedError:
                faults.append(at + " does not tell its value")
        if role == pyatspi.ROLE_IMAGE and meter is not None and name != meter:
            faults.append(at + " is not described by the meter's name")


# ---- Driving the wizard -------------------------------------------------------

def key(*keys):
    for k in keys:
        subprocess.run(["xdotool", "key", "--clearmodifiers", k], check=True)


module = None


def start(sequence, meter_id):
    global module
    environment = dict(os.environ, QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
    module = subprocess.Popen([os.path.join(build, "bin/meterimport"), "Demo", str(sequence), "1",
                               str(meter_id), "0"], env=environment, stderr=subprocess.DEVNULL)
    frame = wait_for("the wizard", showing(pyatspi.ROLE_FRAME))
    # The keyboard to the wizard's window.
    for _ in range(100):
        found = subprocess.run(["xdotool", "search", "--onlyvisible", "--class", "meterimport"],
                               capture_output=True, text=True).stdout.split()
        if found:
            subprocess.run(["xdotool", "windowfocus", found[0]], stderr=subprocess.DEVNULL)
            focus = subprocess.run(["xdotool", "getwindowfocus", "-f"], capture_output=True,
                                   text=True).stdout.strip()
            if focus == found[0]:
                return frame
        time.sleep(0.1)
    faults.append("the wizard did not get the keyboard")
    raise SystemExit(report())


def ends():
    try:
        module.wait(timeout=30)
    except subprocess.TimeoutExpired:
        module.kill()
        faults.append("the module did not end")


def gone(role, name=None):
    wait_for("the end of a %s %s" % (role, name or ""),
             lambda app: showing(role, name)(app) is None)


def text(number):
    return OWN[str(number)].split("|")[0]


def report():
    if module is not None and module.poll() is None:
        module.kill()
    for fault in faults:
        print("FAULT (%s) %s" % (language, fault))
    print("%s: %d faults" % (language, len(faults)))
    return 1 if faults else 0


METER = "Accu-Chek Sensor Complete"


def main():

    # The import with its screens, the help and the USB information.
    start(1, 13)
    walk("introduction", METER)
    key("F1")
    wait_for("the help", showing(pyatspi.ROLE_DIALOG, text(1341)))
    walk("help")
    key("Escape")
    gone(pyatspi.ROLE_DIALOG, text(1341))
    key("alt+u")
    wait_for("the USB information", showing(pyatspi.ROLE_ALERT))
    walk("USB information")
    key("Return")
    gone(pyatspi.ROLE_ALERT)
    key("Return")
    wait_for("the port screen", showing(pyatspi.ROLE_LIST, text(1345)))
    walk("port", METER)
    key("Return")
    wait_for("the hint to switch on", lambda app: showing(pyatspi.ROLE_LIST, text(1345))(app) is None)
    walk("switch on", METER)
    key("Return")
    # The transfer is walked where the window answers the reader while it
    # reads (the reading on a thread of its own); otherwise its screen is
    # gone by the time the reader is answered.
    seen = wait_for("the transfer or the result", lambda app: (
        showing(pyatspi.ROLE_PROGRESS_BAR, text(1343))(app)
        or showing(pyatspi.ROLE_PUSH_BUTTON, text(908))(app)), 1200)
    if seen.getRole() == pyatspi.ROLE_PROGRESS_BAR:
        walk("transfer", METER)
    else:
        print("%s: the transfer's screen was over before the reader was answered" % language)
    wait_for("the result", showing(pyatspi.ROLE_PUSH_BUTTON, text(908)), 1200)
    walk("result", METER)
    # Each figure is read with its category and what became of it, as one
    # text ("Blood glucose readings: 232, saved").
    rows = [node.name for node in objects(application())
            if re.fullmatch(r"[^:]+: \d+, \S.*", node.name or "")]
    if len(rows) != 5:
        faults.append("result: %d rows read as one text each, not 5: %r" % (len(rows), rows))
    key("Return", "Return")
    ends()

    # A loss, with its details.
    os.environ["METERIMPORT_SIM_MEMORY"] = os.environ["LOSS_MEMORY"]
    start(2, 13)
    key("Return", "Return", "Return")
    wait_for("the result with a loss", showing(pyatspi.ROLE_PUSH_BUTTON, text(1286)), 1200)
    walk("result with a loss", METER)
    key("alt+d")
    # A box of its own that scrolls, with the window's title: a dialog.
    wait_for("the details", showing(pyatspi.ROLE_DIALOG))
    walk("details")
    key("Return", "Escape")
    ends()
    del os.environ["METERIMPORT_SIM_MEMORY"]

    # Every tab of the setup dialogs.
    for meter_id, tabs in ((13, 3), (11, 4), (16, 4)):
        start(3, meter_id)
        key("alt+e" if german else "alt+s")
        wait_for("the setup dialog", showing(pyatspi.ROLE_PAGE_TAB_LIST))
        for tab in range(1, tabs + 1):
            walk("setup %d tab %d" % (meter_id, tab))
            key("ctrl+Tab")
        key("Escape")
        wait_for("the end of the setup dialog",
                 lambda app: showing(pyatspi.ROLE_PAGE_TAB_LIST)(app) is None)
        key("Escape")
        ends()

    return report()


try:
    STATUS = main()
finally:
    if module is not None and module.poll() is None:
        module.kill()
        module.wait()
sys.exit(STATUS)
