// The window as a screen reader meets it: through the accessibility interface only.

#include "ViewFixture.h"

#include "support/Await.h"
#include "ui/Phase.h"

#include <QAccessible>
#include <QQuickItem>
#include <QtTest>

#include <private/qguiapplication_p.h>
#include <qpa/qplatformaccessibility.h>
#include <qpa/qplatformintegration.h>

using namespace brindle;

namespace {

struct Event
{
    QAccessible::Event type;
    QAccessible::Role role;
    QString name;
    QString description;
};
QList<Event> events;

void record(QAccessibleEvent *event)
{
    if (QAccessibleInterface *const interface = event->accessibleInterface()) {
        events.append({event->type(), interface->role(), interface->text(QAccessible::Name),
                       interface->text(QAccessible::Description)});
    }
}

/// What has been announced, each as its name and description.
QStringList announced()
{
    QStringList all;
    for (const Event &event : std::as_const(events)) {
#if QT_VERSION >= QT_VERSION_CHECK(6, 8, 0)
        const bool notified = event.type == QAccessible::Announcement;
#else
        const bool notified =
            event.type == QAccessible::ObjectShow && event.role == QAccessible::Notification;
#endif
        // An alert is heard of because it appears.
        if (notified ||
            (event.type == QAccessible::ObjectShow && event.role == QAccessible::AlertMessage)) {
            all << event.name + QLatin1Char('|') + event.description;
        }
    }
    return all;
}

/// All interfaces below a window that can be seen, in the order in which they are read.
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

QList<QAccessibleInterface *> all(QQuickWindow *window)
{
    QList<QAccessibleInterface *> interfaces;
    collect(QAccessible::queryAccessibleInterface(window), interfaces);
    return interfaces;
}

QAccessibleInterface *named(QQuickWindow *window, QAccessible::Role role, const QString &name)
{
    const auto interfaces = all(window);
    for (QAccessibleInterface *interface : interfaces) {
        if (interface->role() == role && interface->text(QAccessible::Name) == name) {
            return interface;
        }
    }
    return nullptr;
}

} // namespace

class TestAccessibility : public QObject
{
    Q_OBJECT

    std::unique_ptr<ViewFixture> view_;

    QAccessibleInterface *named(QAccessible::Role role, const char *name)
    {
        return ::named(view_->window(), role, QString::fromUtf8(name));
    }

    /// What is read in a window: role and name of everything that has a name.
    QStringList reading(QQuickWindow *window)
    {
        QStringList read;
        const auto interfaces = all(window);
        for (QAccessibleInterface *interface : interfaces) {
            const QString name = interface->text(QAccessible::Name);
            if (!name.isEmpty()) {
                read << name;
            }
        }
        return read;
    }

private Q_SLOTS:
    void init()
    {
        view_ = std::make_unique<ViewFixture>();
        QVERIFY(QTest::qWaitForWindowActive(view_->window()));
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".")));
        events.clear();
        // As a screen reader does that comes along. Events are not sent before.
        QGuiApplicationPrivate::platformIntegration()->accessibility()->setActive(true);
    }
    void cleanup()
    {
        QAccessible::installUpdateHandler(nullptr);
        view_.reset();
    }

    void everythingIsReadInOrder()
    {
        view_->set({{QStringLiteral("phase"), Phase::Downloading},
                    {QStringLiteral("stepText"), QStringLiteral("Step")},
                    {QStringLiteral("detail"), QStringLiteral("1 MB")},
                    {QStringLiteral("canCancel"), true},
                    {QStringLiteral("hasFailure"), true},
                    {QStringLiteral("failureSummary"), QStringLiteral("Summary")},
                    {QStringLiteral("failureText"), QStringLiteral("line")},
                    {QStringLiteral("controls"), QStringList{QStringLiteral("W: up")}}});
        ViewFixture::settle(view_->window());
        const QStringList expected{
            QStringLiteral("Brindle"),
            QStringLiteral("Open source real-time strategy game made with Godot 4."),
            QStringLiteral("MIT License · Copyright (c) 2023 Tessel Works"),
            QStringLiteral("Controls"),
            QStringLiteral("W: up"),
            QStringLiteral("This is a 3D game: it runs best on a fast Mac (Apple silicon "
                           "recommended)."),
            QStringLiteral("Downloading"),
            QStringLiteral("Step"),
            QStringLiteral("Progress"),
            QStringLiteral("1 MB"),
            QStringLiteral("Cancel"),
            QStringLiteral("Play"),
            QStringLiteral("Failure"),
            QStringLiteral("Summary"),
            QStringLiteral("Last lines of the log"),
            QStringLiteral("Copy the failure"),
            QStringLiteral("Show log"),
            QStringLiteral("Settings"),
            QStringLiteral("About")};
        QCOMPARE(reading(view_->window()), expected);
    }

    void playIsPressed()
    {
        QAccessibleInterface *const play = named(QAccessible::Button, "Play");
        QVERIFY(play);
        QVERIFY(!play->state().disabled);
        QVERIFY(play->state().focusable);
        QVERIFY(play->actionInterface());
        QVERIFY(play->actionInterface()->actionNames().contains(
            QAccessibleActionInterface::pressAction()));
        play->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QCOMPARE(view_->calls(), QStringList{QStringLiteral("play")});

        view_->set({{QStringLiteral("canPlay"), false}});
        QCOMPARE(play->text(QAccessible::Description), QStringLiteral("Not available now"));
        play->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QCOMPARE(view_->calls().size(), 1);
    }

    void everyButtonIsPressed_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("call");
        QTest::newRow("Cancel") << QStringLiteral("Cancel") << QStringLiteral("cancel");
        QTest::newRow("Stop") << QStringLiteral("Stop") << QStringLiteral("stop");
        QTest::newRow("Copy") << QStringLiteral("Copy the failure")
                              << QStringLiteral("copyFailure");
    }

    void everyButtonIsPressed()
    {
        QFETCH(QString, name);
        QFETCH(QString, call);
        view_->set({{QStringLiteral("canCancel"), true},
                    {QStringLiteral("gameRunning"), true},
                    {QStringLiteral("hasFailure"), true}});
        QAccessibleInterface *const button = ::named(view_->window(), QAccessible::Button, name);
        QVERIFY(button);
        button->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QCOMPARE(view_->calls(), QStringList{call});
    }

    void theStatusIsAnnounced()
    {
        QVERIFY(named(QAccessible::StatusBar, "Not downloaded"));
        QCoreApplication::processEvents();
        QAccessible::installUpdateHandler(record);
        view_->set({{QStringLiteral("phase"), Phase::Ready}});
        QCoreApplication::processEvents();
        QCOMPARE(announced(), QStringList{QStringLiteral("Ready|")});
        QVERIFY(named(QAccessible::StatusBar, "Ready"));
        // The same title again is no news.
        events.clear();
        view_->set({{QStringLiteral("phase"), Phase::Ready}});
        QCoreApplication::processEvents();
        QCOMPARE(announced(), QStringList());
    }

    void whatIsNeededIsAnnounced()
    {
        QCoreApplication::processEvents();
        QAccessible::installUpdateHandler(record);
        view_->set({{QStringLiteral("phase"), Phase::Needs},
                    {QStringLiteral("needsMessage"), QStringLiteral("The disk is full.")}});
        QCoreApplication::processEvents();
        // Together, and once.
        QCOMPARE(announced(), QStringList{QStringLiteral("Needs something|The disk is full.")});
        events.clear();
        view_->set({{QStringLiteral("needsMessage"), QStringLiteral("It is still full.")}});
        QCoreApplication::processEvents();
        QCOMPARE(announced(), QStringList{QStringLiteral("Needs something|It is still full.")});
    }

    void anAlertIsAnnouncedAndAnswered_data()
    {
        QTest::addColumn<int>("press");
        QTest::newRow("the default") << 0;
        QTest::newRow("the other") << 1;
    }

    void anAlertIsAnnouncedAndAnswered()
    {
        QFETCH(int, press);
        const Alert question{QStringLiteral("The game is still running"),
                             QStringLiteral("Quitting will close the game too."),
                             {QStringLiteral("Quit"), QStringLiteral("Keep open")}};
        QAccessible::installUpdateHandler(record);
        QQuickWindow *const window = view_->window();
        const int answer = view_->withAlert(question, [&](QQuickItem *) {
            QCOMPARE(announced(), QStringList{QStringLiteral(
                                      "The game is still running|Quitting will close the game "
                                      "too.")});
            QAccessibleInterface *const alert =
                ::named(window, QAccessible::AlertMessage, question.message);
            QVERIFY(alert);
            QCOMPARE(alert->text(QAccessible::Description), question.informativeText);
            QVERIFY(alert->state().modal);
            // Nothing below it is in reach. Read in this order: the texts, then the first button.
            QCOMPARE(reading(window),
                     (QStringList{question.message, question.message, question.informativeText,
                                  QStringLiteral("Quit"), QStringLiteral("Keep open")}));
            QAccessibleInterface *const quit =
                ::named(window, QAccessible::Button, QStringLiteral("Quit"));
            QAccessibleInterface *const keep =
                ::named(window, QAccessible::Button, QStringLiteral("Keep open"));
            QVERIFY(quit->state().defaultButton);
            QVERIFY(quit->state().focused);
            QVERIFY(!keep->state().defaultButton);
            QTest::keyClick(window, Qt::Key_Tab);
            QVERIFY(keep->state().focused);
            QTest::keyClick(window, Qt::Key_Tab);
            QVERIFY(quit->state().focused);
            (press == 0 ? quit : keep)
                ->actionInterface()
                ->doAction(QAccessibleActionInterface::pressAction());
        });
        QCOMPARE(answer, press);
    }

    void progressHasItsValue()
    {
        view_->set({{QStringLiteral("canCancel"), true},
                    {QStringLiteral("hasProgress"), true},
                    {QStringLiteral("progress"), 0.25},
                    {QStringLiteral("timeLeft"), QStringLiteral("About 2 minutes left")}});
        QAccessibleInterface *const bar = named(QAccessible::ProgressBar, "Progress");
        QVERIFY(bar);
        QVERIFY(bar->valueInterface());
        QCOMPARE(bar->valueInterface()->currentValue().toDouble(), 0.25);
        QCOMPARE(bar->valueInterface()->minimumValue().toDouble(), 0.0);
        QCOMPARE(bar->valueInterface()->maximumValue().toDouble(), 1.0);
        QCOMPARE(bar->text(QAccessible::Value), QStringLiteral("25 %"));
        QCOMPARE(bar->text(QAccessible::Description), QStringLiteral("About 2 minutes left"));
        QVERIFY(bar->parent());
        QVERIFY(!bar->rect().isEmpty());

        QAccessible::installUpdateHandler(record);
        view_->set({{QStringLiteral("progress"), 0.5}});
        QAccessible::installUpdateHandler(nullptr);
        int changes = 0;
        for (const Event &event : std::as_const(events)) {
            changes +=
                event.type == QAccessible::ValueChanged && event.name == QStringLiteral("Progress");
        }
        QCOMPARE(changes, 1);
        QCOMPARE(bar->valueInterface()->currentValue().toDouble(), 0.5);

        view_->set({{QStringLiteral("hasProgress"), false}});
        QVERIFY(bar->state().busy);
        QCOMPARE(bar->text(QAccessible::Value), QString());
    }

    void theFailureTextIsReadable()
    {
        view_->set({{QStringLiteral("hasFailure"), true},
                    {QStringLiteral("failureText"), QStringLiteral("one\ntwo")}});
        QAccessibleInterface *const text =
            named(QAccessible::EditableText, "Last lines of the log");
        QVERIFY(text);
        QVERIFY(text->state().readOnly);
        QVERIFY(text->state().multiLine);
        QVERIFY(text->state().focusable);
        QVERIFY(text->state().selectableText);
        QVERIFY(!text->state().editable);
        QVERIFY(text->textInterface());
        // QTextDocument's own line feed.
        QCOMPARE(text->textInterface()->text(0, text->textInterface()->characterCount()),
                 QStringLiteral("one\u2029two"));
    }

    void headings()
    {
        QVERIFY(named(QAccessible::Heading, "Brindle"));
        QVERIFY(named(QAccessible::Heading, "Controls"));
    }

    void settings()
    {
        QVERIFY(named(QAccessible::Button, "Play"));
        view_->openSheet(QStringLiteral("settings"));
        QQuickWindow *const sheet = view_->window();
        QVERIFY2(!named(QAccessible::Button, "Play"), "content below a sheet is out of reach");
        QAccessibleInterface *const dialog = named(QAccessible::Dialog, "Settings");
        QVERIFY(dialog && dialog->state().modal);
        const auto find = [sheet](QAccessible::Role role, const char *name) {
            return ::named(sheet, role, QString::fromUtf8(name));
        };
        QVERIFY(find(QAccessible::Heading, "Settings"));
        QVERIFY(find(QAccessible::Grouping, "Window"));
        QVERIFY(find(QAccessible::Grouping, "Resolution"));
        QAccessibleInterface *const windowed = find(QAccessible::RadioButton, "Windowed");
        QAccessibleInterface *const fullscreen = find(QAccessible::RadioButton, "Fullscreen");
        QVERIFY(windowed && windowed->state().checked);
        QVERIFY(fullscreen && !fullscreen->state().checked);
        fullscreen->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QVERIFY(fullscreen->state().checked);
        QVERIFY(!windowed->state().checked);
        for (const char *name :
             {"Update the game (download again, keep saves)", "Reinstall (game and engine)",
              "Remove everything (frees Zero KB)", "Show saves", "Reveal in Finder", "Done"}) {
            QVERIFY2(find(QAccessible::Button, name), name);
        }
        QVERIFY(find(QAccessible::Button, "Done")->state().defaultButton);
        view_->set({{QStringLiteral("canPlay"), false}});
        const auto description = [&find](const char *name) {
            return find(QAccessible::Button, name)->text(QAccessible::Description);
        };
        QCOMPARE(description("Reinstall (game and engine)"), QStringLiteral("Not available now"));
        QCOMPARE(description("Show saves"), QString());
    }

    void about()
    {
        view_->openSheet(QStringLiteral("about"));
        QQuickWindow *const sheet = view_->window();
        QVERIFY(named(QAccessible::Dialog, "About Brindle"));
        QAccessibleInterface *const link = ::named(
            sheet, QAccessible::Link, QStringLiteral("github.com/tessel-works/godot-brindle"));
        QVERIFY(link);
        link->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QCOMPARE(view_->calls(), QStringList{QStringLiteral("openRepository")});
    }

    void log()
    {
        view_->log.append(QStringLiteral("a line"));
        view_->openSheet(QStringLiteral("log"));
        QQuickWindow *const sheet = view_->window();
        QVERIFY(named(QAccessible::Dialog, "Log"));
        QAccessibleInterface *const text =
            ::named(sheet, QAccessible::EditableText, QStringLiteral("Log"));
        QVERIFY(text);
        QVERIFY(text->state().readOnly);
        QCOMPARE(text->textInterface()->text(0, 6), QStringLiteral("a line"));
        QVERIFY(::named(sheet, QAccessible::Button, QStringLiteral("Copy the log")));
        QAccessibleInterface *const close =
            ::named(sheet, QAccessible::Button, QStringLiteral("Close"));
        QVERIFY(close);
        QVERIFY(close->state().defaultButton);
    }
};

QTEST_MAIN(TestAccessibility)
#include "tst_accessibility.moc"
