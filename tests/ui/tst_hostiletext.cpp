// Tests that window and screen readers get safe texts of limited length for any texts of the model.

#include "ViewFixture.h"

#include <QAccessible>
#include <QQuickItem>
#include <QtTest>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

/// The most characters of any shown line, including the "…" for a cut rest.
constexpr qsizetype longest = 4'001;

/// Returns a text that begins with `name`, then has every character that must not be shown.
QString hostile(const QString &name)
{
    return name + u"\u202e\u2066\u200f\u061c\u001b[31m\u0007\r\u0085<b>x</b>a"_s +
           QString(40, QChar(0x0301)) + QString(1'000'000, u'y');
}

/// Returns the fault of a shown text, or nothing.
QString fault(const QString &text)
{
    const QStringList lines = text.split(u'\n');
    for (const QString &line : lines) {
        if (line.size() > longest) {
            return u"%1 characters"_s.arg(line.size());
        }
    }
    int marks = 0;
    for (const QChar c : text) {
        // QTextDocument ends lines with this separator.
        if (c == u'\n' || c == u'\t' || c == QChar::ParagraphSeparator) {
            continue;
        }
        marks = c.category() == QChar::Mark_NonSpacing ? marks + 1 : 0;
        if (marks > 5) {
            return u"a tower of accents"_s;
        }
        if (c.category() == QChar::Other_Control || c.category() == QChar::Other_Format) {
            return u"U+%1"_s.arg(uint(c.unicode()), 4, 16, QChar(u'0'));
        }
    }
    return {};
}

/// Returns all texts that the window shows or that screen readers get.
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
    QList<QAccessibleInterface *> interfaces{QAccessible::queryAccessibleInterface(window)};
    while (!interfaces.isEmpty()) {
        QAccessibleInterface *const one = interfaces.takeFirst();
        for (int i = 0; i < one->childCount(); ++i) {
            interfaces << one->child(i);
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

    void look(const ViewFixture &view)
    {
        view.settle();
        const QStringList all = texts(view.window());
        for (const QString &text : all) {
            QVERIFY2(fault(text).isEmpty(), qPrintable(fault(text) + u" in "_s + text.left(40)));
        }
        seen_ += all;
    }
    void verifySeen(const QStringList &names)
    {
        for (const QString &name : names) {
            QVERIFY2(!seen_.filter(name).isEmpty(), qPrintable(name));
        }
    }

private Q_SLOTS:
    void initTestCase() { ViewFixture::setUpApplication(); }
    void init()
    {
        seen_.clear();
        QTest::failOnWarning(QRegularExpression(u"."_s));
    }

    void theModelsTextsAreMadeSafe()
    {
        ViewFixture view;
        QStringList names = view.textProperties();
        QVERIFY(names.contains(u"failureText"));
        for (const QString &name : std::as_const(names)) {
            view.set({{name, hostile(name)}});
        }
        for (const auto &list : {u"controls"_s, u"resolutionLabels"_s}) {
            view.set({{list, QStringList{hostile(list), hostile(u"another"_s)}}});
            names << list;
        }
        view.log().append(hostile(u"log line"_s));
        view.enter("Downloading");
        view.set({{u"hasFailure"_s, true}});
        look(view);
        view.enter("Needs");
        look(view);
        for (const auto &sheet : {u"settings"_s, u"about"_s, u"log"_s}) {
            view.openSheet(sheet);
            look(view);
            QTest::keyClick(view.window(), Qt::Key_Escape);
        }
        verifySeen(names << u"log line"_s);
    }

    void anAlertsTextsAreMadeSafe()
    {
        ViewFixture view;
        const QStringList names{u"message"_s, u"details"_s, u"yes"_s, u"no"_s};
        const Alert alert{hostile(names.at(0)),
                          hostile(names.at(1)),
                          {hostile(names.at(2)), hostile(names.at(3))}};
        view.withAlert(alert, [&](QQuickItem *) { look(view); });
        verifySeen(names);
    }
};

QTEST_MAIN(TestHostileText)
#include "tst_hostiletext.moc"
