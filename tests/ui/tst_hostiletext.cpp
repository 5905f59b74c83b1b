// Whatever a model says, what is shown and what screen readers are told is fit for that.

#include "Scenes.h"
#include "ViewFixture.h"

#include "ui/Phase.h"

#include <QAccessible>
#include <QMetaProperty>
#include <QQuickItem>
#include <QtTest>

using namespace brindle;

namespace {

/// The longest that anything in a window may be, with what is cut off told by one character.
constexpr qsizetype longest = 4'001;

/// A text that begins with its name, and goes on with all that is not to be shown.
QString hostile(const QString &name)
{
    return name + QStringLiteral("\u202e\u2066\u200f\u061c\u001b[31m\u0007\r\u0085<b>x</b>a") +
           QString(40, QChar(0x0301)) + QString(1'000'000, u'y');
}

/// What is wrong with a text that is shown; empty when nothing is.
QString fault(const QString &text)
{
    // A text pane has a length for each of its lines.
    const QStringList lines = text.split(u'\n');
    for (const QString &line : lines) {
        if (line.size() > longest) {
            return QStringLiteral("%1 characters").arg(line.size());
        }
    }
    int marks = 0;
    for (const QChar c : text) {
        // QTextDocument's own line feed, and what an accessible text has in place of an object.
        if (c == u'\n' || c == u'\t' || c == QChar::ParagraphSeparator) {
            continue;
        }
        marks = c.category() == QChar::Mark_NonSpacing ? marks + 1 : 0;
        if (marks > 5) {
            return QStringLiteral("a tower of accents");
        }
        if (c.category() == QChar::Other_Control || c.category() == QChar::Other_Format) {
            return QStringLiteral("U+%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
        }
    }
    return {};
}

/// All texts that are shown or told in a window.
QStringList texts(QQuickWindow *window)
{
    QStringList all;
    QList<QQuickItem *> items{window->contentItem()};
    while (!items.isEmpty()) {
        QQuickItem *const item = items.takeFirst();
        items += item->childItems();
        if (item->inherits("QQuickText") || item->inherits("QQuickTextEdit")) {
            all << item->property("text").toString();
        }
    }
    QList<QAccessibleInterface *> told{QAccessible::queryAccessibleInterface(window)};
    while (!told.isEmpty()) {
        QAccessibleInterface *const one = told.takeFirst();
        for (int i = 0; i < one->childCount(); ++i) {
            told << one->child(i);
        }
        for (const auto kind : {QAccessible::Name, QAccessible::Description, QAccessible::Value}) {
            all << one->text(kind);
        }
        if (QAccessibleTextInterface *const text = one->textInterface()) {
            all << text->text(0, text->characterCount());
        }
    }
    return all;
}

} // namespace

class TestHostileText : public QObject
{
    Q_OBJECT

    QStringList seen_;

    void look(QQuickWindow *window)
    {
        ViewFixture::settle(window);
        const QStringList all = texts(window);
        for (const QString &text : all) {
            const QString what = fault(text);
            QVERIFY2(what.isEmpty(), qPrintable(what + QStringLiteral(" in ") + text.left(40)));
        }
        seen_ += all;
    }

    bool isSeen(const QString &name) const
    {
        return std::any_of(seen_.begin(), seen_.end(),
                           [&](const QString &text) { return text.contains(name); });
    }

private Q_SLOTS:
    void initTestCase() { ViewFixture::setUpApplication(); }

    void init()
    {
        seen_.clear();
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".")));
    }

    void whateverTheModelSays()
    {
        ViewFixture view;
        const QStringList names = view.textProperties();
        QVERIFY(names.contains(QStringLiteral("failureText")));
        for (const QString &name : names) {
            view.set({{name, hostile(name)}});
        }
        const auto list = [](const char *name) {
            return QStringList{hostile(QLatin1String(name)), hostile(QStringLiteral("another"))};
        };
        view.set({{QStringLiteral("controls"), list("controls")},
                  {QStringLiteral("resolutionLabels"), list("resolution")},
                  {QStringLiteral("hasFailure"), true},
                  {QStringLiteral("canCancel"), true},
                  {QStringLiteral("phase"), Phase::Downloading}});
        view.log.append(hostile(QStringLiteral("log line")));
        look(view.window());
        view.set({{QStringLiteral("phase"), Phase::Needs}});
        look(view.window());
        for (const char *sheet : {"settings", "about", "log"}) {
            view.openSheet(QLatin1String(sheet));
            look(view.window());
            view.find(QStringLiteral("content"))->setProperty(QByteArray(sheet) + "Shown", false);
        }
        for (const QString &name :
             names + QStringList{QStringLiteral("controls"), QStringLiteral("resolution"),
                                 QStringLiteral("log line")}) {
            QVERIFY2(isSeen(name), qPrintable(name));
        }
    }

    void whateverAnAlertSays()
    {
        ViewFixture view;
        const QStringList names{QStringLiteral("message"), QStringLiteral("details"),
                                QStringLiteral("yes"), QStringLiteral("no")};
        const Alert alert{hostile(names.at(0)),
                          hostile(names.at(1)),
                          {hostile(names.at(2)), hostile(names.at(3))}};
        view.withAlert(alert, [&](QQuickItem *) { look(view.window()); });
        for (const QString &name : names) {
            QVERIFY2(isSeen(name), qPrintable(name));
        }
    }
};

QTEST_MAIN(TestHostileText)
#include "tst_hostiletext.moc"
