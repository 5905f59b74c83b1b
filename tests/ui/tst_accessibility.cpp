// Tests that screen readers get the whole window through Qt's accessibility interface.

#include "ViewFixture.h"

#include <QAccessible>
#include <QQuickItem>
#include <QtTest>

#include <private/qguiapplication_p.h>
#include <qpa/qplatformaccessibility.h>
#include <qpa/qplatformintegration.h>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

// Names and descriptions of announcements and alerts, and names of items whose value changed, in
// the order of their events.
QStringList announced;
QStringList changed;

void record(QAccessibleEvent *event)
{
    QAccessibleInterface *const interface = event->accessibleInterface();
    if (!interface) {
        return;
    }
    const auto role = interface->role();
    const QString name = interface->text(QAccessible::Name);
#if QT_VERSION >= QT_VERSION_CHECK(6, 8, 0)
    const bool isNotice = event->type() == QAccessible::Announcement;
#else
    const bool isNotice =
        event->type() == QAccessible::ObjectShow && role == QAccessible::Notification;
#endif
    if (isNotice ||
        (event->type() == QAccessible::ObjectShow && role == QAccessible::AlertMessage)) {
        announced << name + u'|' + interface->text(QAccessible::Description);
    } else if (event->type() == QAccessible::ValueChanged) {
        changed << name;
    }
}

/// Collects all visible interfaces below one, in reading order.
void collect(QAccessibleInterface *interface, QList<QAccessibleInterface *> &into)
{
    for (int i = 0; i < interface->childCount(); ++i) {
        QAccessibleInterface *const child = interface->child(i);
        if (child && !child->state().invisible) {
            into.append(child);
            collect(child, into);
        }
    }
}

/// Returns the role, name and states that a screen reader would speak.
QString described(QAccessibleInterface *interface)
{
    const auto state = interface->state();
    QString text = QLatin1String(qAccessibleRoleString(interface->role())) + u": "_s +
                   interface->text(QAccessible::Name);
    const QString description = interface->text(QAccessible::Description);
    for (const auto &[isSo, word] :
         {std::pair{!description.isEmpty(), description}, std::pair{state.modal != 0, u"modal"_s},
          std::pair{state.defaultButton != 0, u"default"_s},
          std::pair{state.focused != 0, u"focused"_s}, std::pair{state.checked != 0, u"checked"_s},
          std::pair{state.readOnly && state.multiLine && state.selectableText && !state.editable,
                    u"to read"_s}}) {
        text += isSo ? u" ("_s + word + u')' : QString();
    }
    return text;
}

} // namespace

class TestAccessibility : public QObject
{
    Q_OBJECT

    std::unique_ptr<ViewFixture> view_;

    QList<QAccessibleInterface *> all() const
    {
        QList<QAccessibleInterface *> interfaces;
        collect(QAccessible::queryAccessibleInterface(view_->window()), interfaces);
        return interfaces;
    }
    /// Returns `described` for every visible item with a name.
    QStringList reading() const
    {
        QStringList read;
        for (QAccessibleInterface *interface : all()) {
            if (!interface->text(QAccessible::Name).isEmpty()) {
                read << described(interface);
            }
        }
        return read;
    }
    QAccessibleInterface *find(QAccessible::Role role, const QString &name) const
    {
        for (QAccessibleInterface *interface : all()) {
            if (interface->role() == role && interface->text(QAccessible::Name) == name) {
                return interface;
            }
        }
        qFatal("there is no %s", qPrintable(name));
    }
    static void press(QAccessibleInterface *interface)
    {
        const QString action = QAccessibleActionInterface::pressAction();
        QVERIFY(interface->actionInterface()->actionNames().contains(action));
        interface->actionInterface()->doAction(action);
    }

private Q_SLOTS:
    void init()
    {
        view_ = std::make_unique<ViewFixture>();
        QVERIFY(QTest::qWaitForWindowActive(view_->window()));
        QTest::failOnWarning(QRegularExpression(u"."_s));
        announced.clear();
        changed.clear();
        // A screen reader does this at its start. Before that, Qt sends no events.
        QGuiApplicationPrivate::platformIntegration()->accessibility()->setActive(true);
        QAccessible::installUpdateHandler(record);
    }
    void cleanup()
    {
        QAccessible::installUpdateHandler(nullptr);
        view_.reset();
    }

    void everythingIsReadInOrder_data()
    {
        QTest::addColumn<QString>("sheet");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("window")
            << QString()
            << QStringList{
                   u"Heading: Brindle"_s,
                   u"StaticText: Open source real-time strategy game made with Godot 4."_s,
                   u"StaticText: MIT License · Copyright (c) 2023 Tessel Works"_s,
                   u"Heading: Controls"_s,
                   u"StaticText: W: up"_s,
                   u"StaticText: This is a 3D game: it runs best on a fast Mac (Apple silicon "
                   u"recommended)."_s,
                   u"StatusBar: Downloading"_s,
                   u"StaticText: Step"_s,
                   u"ProgressBar: Progress"_s,
                   u"StaticText: 1 MB"_s,
                   u"Button: Cancel"_s,
                   u"Button: Play (Not available now)"_s,
                   u"Grouping: Failure"_s,
                   u"StaticText: Summary"_s,
                   u"EditableText: Last lines of the log (to read)"_s,
                   u"Button: Copy the failure"_s,
                   u"Button: Show log (focused)"_s,
                   u"Button: Settings"_s,
                   u"Button: About"_s};
        QTest::newRow("settings")
            << u"settings"_s
            << QStringList{
                   u"Dialog: Settings (modal)"_s,
                   u"Heading: Settings"_s,
                   u"Grouping: Window"_s,
                   u"RadioButton: Windowed (checked)"_s,
                   u"RadioButton: Fullscreen"_s,
                   u"Grouping: Resolution"_s,
                   u"RadioButton: Game default (checked)"_s,
                   u"RadioButton: 1280x720"_s,
                   u"RadioButton: 1600x900"_s,
                   u"RadioButton: 1920x1080"_s,
                   u"RadioButton: 2560x1440"_s,
                   u"Button: Update the game (download again, keep saves) (Not available now)"_s,
                   u"Button: Reinstall (game and engine) (Not available now)"_s,
                   u"Button: Remove everything (frees Zero KB) (Not available now)"_s,
                   u"Button: Show saves"_s,
                   u"Button: Reveal in Finder"_s,
                   u"Button: Done (default) (focused)"_s};
        QTest::newRow("about")
            << u"about"_s
            << QStringList{
                   u"Dialog: About Brindle (modal)"_s,
                   u"Heading: About Brindle"_s,
                   u"StaticText: Game: Brindle\nCopyright (c) 2023 Tessel Works\nLicence: MIT "
                   u"License"_s,
                   u"StaticText: Based on tessel-works/godot-brindle (MIT License)."_s,
                   u"StaticText: Godot Engine, MIT licence: © 2014-present Godot Engine "
                   u"contributors, © 2007-2014 Juan Linietsky, Ariel Manzur."_s,
                   u"Link: github.com/tessel-works/godot-brindle"_s,
                   u"StaticText: The game belongs to its author. This app is only a launcher: it "
                   u"downloads the game and Godot and starts them. Nothing is sent anywhere except "
                   u"those downloads."_s,
                   u"Button: Done (default) (focused)"_s};
        QTest::newRow("log") << u"log"_s
                             << QStringList{u"Dialog: Log (modal)"_s, u"Heading: Log"_s,
                                            u"EditableText: Log (to read)"_s,
                                            u"Button: Copy the log"_s,
                                            u"Button: Close (default) (focused)"_s};
    }
    void everythingIsReadInOrder()
    {
        QFETCH(const QString, sheet);
        QFETCH(const QStringList, expected);
        view_->set({{u"stepText"_s, u"Step"_s},
                    {u"detail"_s, u"1 MB"_s},
                    {u"hasFailure"_s, true},
                    {u"failureSummary"_s, u"Summary"_s},
                    {u"controls"_s, QStringList{u"W: up"_s}}});
        view_->enter("Downloading");
        if (!sheet.isEmpty()) {
            view_->openSheet(sheet);
        }
        QTRY_COMPARE(reading(), expected); // the focus leaves Play in the event loop
    }

    void everyButtonIsPressed()
    {
        view_->set({{u"canCancel"_s, true}, {u"hasFailure"_s, true}});
        QStringList calls;
        for (const auto &[name, call] : {std::pair{u"Play"_s, u"play"_s},
                                         {u"Stop"_s, u"stop"_s},
                                         {u"Cancel"_s, u"cancel"_s},
                                         {u"Copy the failure"_s, u"copyFailure"_s}}) {
            view_->set({{u"gameRunning"_s, name == u"Stop"}});
            QAccessibleInterface *const button = find(QAccessible::Button, name);
            QVERIFY(button->state().focusable);
            press(button);
            QCOMPARE(view_->calls(), calls << call);
        }
        view_->set({{u"canPlay"_s, false}, {u"gameRunning"_s, false}});
        press(find(QAccessible::Button, u"Play"_s));
        QCOMPARE(view_->calls(), calls);
    }

    void sheetsArePressed()
    {
        view_->openSheet(u"settings"_s);
        press(find(QAccessible::RadioButton, u"Fullscreen"_s));
        QVERIFY(find(QAccessible::RadioButton, u"Fullscreen"_s)->state().checked);
        QVERIFY(!find(QAccessible::RadioButton, u"Windowed"_s)->state().checked);
        press(find(QAccessible::Button, u"Done"_s));
        view_->openSheet(u"about"_s);
        press(find(QAccessible::Link, u"github.com/tessel-works/godot-brindle"_s));
        QCOMPARE(view_->calls(), QStringList{u"openRepository"_s});
    }

    void theStatusIsAnnounced()
    {
        QCoreApplication::processEvents();
        announced.clear();
        // A state and its message must be one announcement.
        for (const QVariantMap &change : {QVariantMap{{u"phase"_s, int(AppState::Phase::ready)}},
                                          {{u"phase"_s, int(AppState::Phase::needs)},
                                           {u"needsMessage"_s, u"The disk is full."_s}},
                                          {{u"needsMessage"_s, u"It is still full."_s}}}) {
            view_->set(change);
            QCoreApplication::processEvents();
        }
        QCOMPARE(announced, (QStringList{u"Ready|"_s, u"Needs something|The disk is full."_s,
                                         u"Needs something|It is still full."_s}));
    }

    void anAlertIsAnnouncedAndAnswered_data()
    {
        QTest::addColumn<int>("button");
        QTest::newRow("the default") << 0;
        QTest::newRow("the other") << 1;
    }
    void anAlertIsAnnouncedAndAnswered()
    {
        QFETCH(const int, button);
        const Alert question{u"The game is still running"_s,
                             u"Quitting will close the game too."_s,
                             {u"Quit"_s, u"Keep open"_s}};
        const QString both = question.message + u'|' + question.informativeText;
        const int answer = view_->withAlert(question, [&](QQuickItem *) {
            QCOMPARE(announced, QStringList{both});
            // The content below the alert must be out of reach.
            const QStringList expected{
                u"AlertMessage: "_s + question.message + u" ("_s + question.informativeText +
                    u") (modal)"_s,
                u"Heading: "_s + question.message, u"StaticText: "_s + question.informativeText,
                u"Button: Quit (default) (focused)"_s, u"Button: Keep open"_s};
            QCOMPARE(reading(), expected);
            QTest::keyClick(view_->window(), Qt::Key_Tab);
            QVERIFY(find(QAccessible::Button, u"Keep open"_s)->state().focused);
            press(find(QAccessible::Button, question.buttons.at(button)));
        });
        QCOMPARE(answer, button);
    }

    void progressHasItsValue()
    {
        view_->set({{u"canCancel"_s, true},
                    {u"hasProgress"_s, true},
                    {u"progress"_s, 0.25},
                    {u"timeLeft"_s, u"About 2 minutes left"_s}});
        QAccessibleInterface *const bar = find(QAccessible::ProgressBar, u"Progress"_s);
        QAccessibleValueInterface *const value = bar->valueInterface();
        QCOMPARE(value->currentValue().toDouble(), 0.25);
        QCOMPARE(value->minimumValue().toDouble(), 0.0);
        QCOMPARE(value->maximumValue().toDouble(), 1.0);
        QCOMPARE(bar->text(QAccessible::Description), u"About 2 minutes left"_s);
        QVERIFY(bar->parent());
        QVERIFY(!bar->rect().isEmpty());
        changed.clear();
        view_->set({{u"progress"_s, 0.5}});
        QCOMPARE(changed, QStringList{u"Progress"_s});
        QCOMPARE(value->currentValue().toDouble(), 0.5);
        view_->set({{u"hasProgress"_s, false}});
        QVERIFY(bar->state().busy && bar->state().readOnly);
    }
};

QTEST_MAIN(TestAccessibility)
#include "tst_accessibility.moc"
