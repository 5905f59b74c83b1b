import QtQuick
import QtTest
import Brindle

Item {
    width: 560
    height: 640

    Component {
        id: standIn
        StandIn {
            hasFailure: true
            failureSummary: "The game closed after 3 seconds (exit code 1), so it did not start properly. The last lines of the log below may show why."
            failureText: "first line\nsecond line"
        }
    }
    Component {
        id: failureView
        FailureView { width: 512 }
    }

    TestCase {
        name: "FailureView"
        when: windowShown

        property var model
        property var view
        property var pane

        function init() {
            failOnWarning(/.?/);
            parent.Window.window.requestActivate();
            tryCompare(parent.Window.window, "active", true);
            model = standIn.createObject(parent); // outlives the view
            view = createTemporaryObject(failureView, parent, { "model": model });
            pane = findChild(view, "failureText");
        }

        function test_nothingWithoutAFailure() {
            verify(view.visible);
            model.hasFailure = false;
            verify(!view.visible);
        }

        function test_content() {
            compare(findChild(view, "failureSummary").text, model.failureSummary);
            compare(findChild(view, "failureSummary").font, Theme.callout);
            compare(pane.edit.text, "first line\nsecond line");
            compare(pane.edit.font, Theme.monospaced);
            compare(pane.edit.textFormat, TextEdit.PlainText);
            verify(pane.edit.readOnly);
            compare(view.radius, 10);
            compare(view.borderWidth, 1);
            verify(Math.abs(view.borderColor.a - 0.5) < 0.01);
            verify(Qt.colorEqual(pane.children[0].color, Theme.pane));
            verify(Qt.colorEqual(pane.children[0].borderColor, Theme.paneEdge));
            compare(pane.height, 140);
            compare(pane.width, 512 - 24);
        }

        function test_distances() {
            waitForRendering(view);
            const summary = findChild(view, "failureSummary");
            const button = findChild(view, "copyFailureButton");
            const place = item => item.mapToItem(view, 0, 0);
            for (const item of [summary, pane, button])
                compare(place(item).x, 12);
            compare(place(summary).y, 12);
            compare(summary.width, 512 - 24);
            compare(place(pane).y - place(summary).y - summary.height, 8);
            compare(place(button).y - place(pane).y - pane.height, 8);
            compare(view.height - place(button).y - button.height, 12);
            compare(summary.horizontalAlignment, Text.AlignLeft);
            compare(summary.color, Theme.text);
            compare(button.font, Theme.body);
            verify(Qt.colorEqual(view.borderColor, Qt.rgba(Theme.red.r, Theme.red.g, Theme.red.b, view.borderColor.a)));
            compare(pane.edit.horizontalAlignment, TextEdit.AlignLeft);
        }

        function test_theLastLinesAreSeenFirst() {
            const atEnd = () => pane.scroller.contentY === pane.scroller.contentHeight - pane.scroller.height;
            model.failureText = "a line\n".repeat(60) + "the last";
            tryVerify(() => pane.scroller.contentHeight > 500 && atEnd());
            // Another failure, as long as the one before it.
            pane.scroller.contentY = 0;
            model.failureText = "b line\n".repeat(60) + "the last";
            tryVerify(atEnd);
            // Lines that wrap in a narrower window, until the player scrolls.
            model.failureText = "a rather long line of the log that goes on\n".repeat(60) + "the last";
            tryVerify(atEnd);
            const before = pane.scroller.contentHeight;
            view.width = 300;
            tryVerify(() => pane.scroller.contentHeight > before && atEnd());
            pane.scroller.contentY = 50;
            view.width = 512;
            tryCompare(pane.scroller, "contentHeight", before);
            compare(pane.scroller.contentY, 50);
            // A short one has no other end.
            model.failureText = "a line";
            tryCompare(pane.scroller, "contentY", 0);
        }

        function test_copy() {
            waitForRendering(view);
            const button = findChild(view, "copyFailureButton");
            compare(button.text, "Copy");
            mouseClick(button);
            compare(model.calls, ["copyFailure"]);
        }

        function test_manyLinesScrollInTheirBox() {
            const before = view.height;
            model.failureText = "a line\n".repeat(60) + "the last";
            tryVerify(() => pane.scroller.contentHeight > 500);
            compare(pane.height, 140);
            compare(view.height, before);
            pane.edit.forceActiveFocus();
            keyClick(Qt.Key_End);
            compare(pane.scroller.contentY, pane.scroller.contentHeight - pane.scroller.height);
        }

        function test_aWideLineWraps() {
            model.failureText = "x".repeat(2000);
            tryVerify(() => pane.edit.lineCount > 10);
            verify(pane.edit.contentWidth <= pane.edit.width);
        }

        function test_select() {
            waitForRendering(view);
            mouseDoubleClickSequence(pane.edit, 5, 5);
            compare(pane.edit.selectedText, "first");
            keyClick(Qt.Key_A, Qt.ControlModifier);
            compare(pane.edit.selectedText.length, 22);
        }
    }
}
