import QtQuick
import QtTest
import Brindle

// Tests the window's content. Each function has a view and a stand-in model of its own.
TestCase {
    id: test

    property StandIn model
    property ContentView view
    readonly property Component standIn: StandIn {}
    readonly property Component contentView: ContentView {
        anchors.fill: parent
        model: test.model
    }

    when: windowShown

    function init() {
        failOnWarning(/.?/);
        parent.Window.window.requestActivate();
        tryCompare(parent.Window.window, "active", true);
        model = standIn.createObject(parent); // outlives the view
        view = createTemporaryObject(contentView, parent);
        settle();
        keyClick(Qt.Key_Shift); // ends the quick presses of an earlier function
    }

    // Waits for a frame, which gives every item its position.
    function settle() {
        view.Window.window.update();
        waitForRendering(view);
    }
    function item(name) {
        const found = findChild(view, name);
        verify(found, name);
        return found;
    }
    // Returns the item's rectangle in the view.
    function place(name) {
        return item(name).mapToItem(view, 0, 0, item(name).width, item(name).height);
    }
    function verifyCentred(first, last) {
        verify(Math.abs(place(first).left + place(last ?? first).right - view.width) <= 2, first);
    }
    // Waits until a button accepts clicks: new buttons ignore clicks for a moment.
    function takesClicks(name) {
        tryCompare(findChild(item(name), "guard"), "visible", false);
    }
    function press(name) {
        takesClicks(name);
        mouseClick(item(name));
    }
    function clipboard() {
        const probe = createTemporaryQmlObject("import QtQuick; TextEdit {}", parent);
        probe.paste();
        return probe.text;
    }
}
