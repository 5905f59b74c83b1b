#include "project/ProjectInfo.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <limits>

using brindle::ProjectInfo;
using brindle::Submodule;

namespace {

ProjectInfo sample()
{
    ProjectInfo info;
    info.name = QStringLiteral("Größe \"zwei\"");
    info.configVersion = 4;
    info.features = {QStringLiteral("4.2.2"), QStringLiteral("C#")};
    info.godotVersion = QStringLiteral("4.2.2");
    info.usesCSharp = true;
    info.mainScene = QStringLiteral("res://main.tscn");
    info.licenseName = QStringLiteral("BSD");
    info.copyright = QStringLiteral("Copyright (c) 1999 Ada");
    info.tagline = QStringLiteral("One line.");
    info.controls = {QStringLiteral("WASD: move"), QString()};
    info.submodules = {{QStringLiteral("addons/a"), QStringLiteral("https://github.com/x/a.git")},
                       {QString(), QStringLiteral("u")}};
    info.addons = {QStringLiteral("a"), QStringLiteral("b")};
    info.repoRoot = QStringLiteral("/games/repo");
    return info;
}

QJsonObject sampleObject()
{
    return QJsonDocument::fromJson(sample().toJson()).object();
}

QByteArray bytes(const QJsonObject &object)
{
    return QJsonDocument(object).toJson();
}

const QStringList requiredKeys{
    QStringLiteral("name"),       QStringLiteral("configVersion"), QStringLiteral("features"),
    QStringLiteral("usesCSharp"), QStringLiteral("mainScene"),     QStringLiteral("licenseName"),
    QStringLiteral("copyright"),  QStringLiteral("tagline"),       QStringLiteral("controls"),
    QStringLiteral("submodules"), QStringLiteral("addons"),        QStringLiteral("repoRoot"),
};

} // namespace

class ProjectInfoTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void placeholderHoldsTheDefaults();
    void savedFormNamesTheFields();
    void savedFormIsReadBack();
    void savedFormKeepsByteOrderMarks();
    void leavesOutAnAbsentVersion();
    void keepsAllSixtyFourBits_data();
    void keepsAllSixtyFourBits();
    void everyRequiredKeyIsRequired_data();
    void everyRequiredKeyIsRequired();
    void mistypedKeysMakeItUnreadable_data();
    void mistypedKeysMakeItUnreadable();
    void unknownKeysAreIgnored();
    void otherDocumentsAreUnreadable_data();
    void otherDocumentsAreUnreadable();
};

void ProjectInfoTest::placeholderHoldsTheDefaults()
{
    const ProjectInfo &info = ProjectInfo::placeholder;
    QCOMPARE(info.name, QStringLiteral("Brindle"));
    QCOMPARE(info.configVersion, 5);
    QCOMPARE(info.features, QStringList());
    QCOMPARE(info.godotVersion.value_or(QString()), QStringLiteral("4.3"));
    QVERIFY(!info.usesCSharp);
    QCOMPARE(info.mainScene, QString());
    QCOMPARE(info.licenseName, QStringLiteral("MIT License"));
    QCOMPARE(info.copyright, QStringLiteral("Copyright (c) 2023 Tessel Works"));
    QCOMPARE(info.tagline,
             QStringLiteral("Open source real-time strategy game made with Godot 4."));
    QCOMPARE(info.controls, QStringList());
    QVERIFY(info.submodules.isEmpty());
    QCOMPARE(info.addons, QStringList());
    QCOMPARE(info.repoRoot, QString());
    QVERIFY(info == ProjectInfo());
    QVERIFY(!(info == sample()));
}

void ProjectInfoTest::savedFormNamesTheFields()
{
    QStringList keys = requiredKeys;
    keys.append(QStringLiteral("godotVersion"));
    keys.sort();
    const QJsonObject object = sampleObject();
    QCOMPARE(object.keys(), keys);
    QCOMPARE(object.value(u"name"), QJsonValue(sample().name));
    QCOMPARE(object.value(u"configVersion"), QJsonValue(4));
    QCOMPARE(object.value(u"usesCSharp"), QJsonValue(true));
    QCOMPARE(object.value(u"features"), QJsonValue(QJsonArray::fromStringList(sample().features)));
    QCOMPARE(object.value(u"godotVersion"), QJsonValue(QStringLiteral("4.2.2")));
    const QJsonObject first = object.value(u"submodules").toArray().at(0).toObject();
    QCOMPARE(first,
             QJsonObject({{QStringLiteral("path"), QStringLiteral("addons/a")},
                          {QStringLiteral("url"), QStringLiteral("https://github.com/x/a.git")}}));
}

void ProjectInfoTest::savedFormIsReadBack()
{
    const auto info = ProjectInfo::fromJson(sample().toJson());
    QVERIFY(info);
    QVERIFY(*info == sample());
    const auto placeholder = ProjectInfo::fromJson(ProjectInfo::placeholder.toJson());
    QVERIFY(placeholder);
    QVERIFY(*placeholder == ProjectInfo::placeholder);
}

void ProjectInfoTest::savedFormKeepsByteOrderMarks()
{
    const QChar mark(QChar::ByteOrderMark);
    ProjectInfo info = sample();
    info.name = mark + QStringLiteral("a\"") + mark + QStringLiteral("\\\"") + mark;
    info.tagline = mark;
    info.addons = {mark + QStringLiteral("a")};
    QCOMPARE(ProjectInfo::fromJson(info.toJson()), info);
}

void ProjectInfoTest::leavesOutAnAbsentVersion()
{
    ProjectInfo info = sample();
    info.godotVersion.reset();
    const QJsonObject object = QJsonDocument::fromJson(info.toJson()).object();
    QVERIFY(!object.contains(u"godotVersion"));
    const auto again = ProjectInfo::fromJson(info.toJson());
    QVERIFY(again);
    QVERIFY(!again->godotVersion);
    QVERIFY(*again == info);
}

void ProjectInfoTest::keepsAllSixtyFourBits_data()
{
    QTest::addColumn<qint64>("number");
    QTest::newRow("beyond a double's precision") << qint64(9'007'199'254'740'993);
    QTest::newRow("largest") << std::numeric_limits<qint64>::max();
    QTest::newRow("smallest") << std::numeric_limits<qint64>::min();
    QTest::newRow("zero") << qint64(0);
    QTest::newRow("one") << qint64(1);
}

void ProjectInfoTest::keepsAllSixtyFourBits()
{
    QFETCH(qint64, number);
    ProjectInfo info = sample();
    info.configVersion = number;
    const auto again = ProjectInfo::fromJson(info.toJson());
    QVERIFY(again);
    QCOMPARE(again->configVersion, number);
}

void ProjectInfoTest::everyRequiredKeyIsRequired_data()
{
    QTest::addColumn<QString>("key");
    for (const QString &key : requiredKeys) {
        QTest::newRow(qPrintable(key)) << key;
    }
}

void ProjectInfoTest::everyRequiredKeyIsRequired()
{
    QFETCH(QString, key);
    QJsonObject object = sampleObject();
    QVERIFY(object.contains(key));
    object.remove(key);
    QVERIFY(!ProjectInfo::fromJson(bytes(object)));
    object.insert(key, QJsonValue::Null);
    QVERIFY(!ProjectInfo::fromJson(bytes(object)));
}

void ProjectInfoTest::mistypedKeysMakeItUnreadable_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QJsonValue>("value");
    const auto row = [](const char *key, const char *what, const QJsonValue &value) {
        QTest::addRow("%s: %s", key, what) << QString::fromLatin1(key) << value;
    };
    const QJsonValue text(QStringLiteral("text"));
    for (const char *key :
         {"name", "mainScene", "licenseName", "copyright", "tagline", "repoRoot", "godotVersion"}) {
        row(key, "number", 5);
        row(key, "list", QJsonArray{text});
    }
    for (const char *key : {"features", "controls", "addons"}) {
        row(key, "text", text);
        row(key, "list with a number", QJsonArray{text, 5});
        row(key, "list with null", QJsonArray{QJsonValue::Null});
        row(key, "object", QJsonObject());
    }
    row("configVersion", "text", QStringLiteral("5"));
    row("configVersion", "boolean", true);
    row("configVersion", "fraction", 5.5);
    row("configVersion", "too large", 1e19);
    row("configVersion", "one too large", 9223372036854775808.0);
    row("usesCSharp", "number", 1);
    row("usesCSharp", "text", QStringLiteral("true"));
    row("submodules", "text", text);
    row("submodules", "list of texts", QJsonArray{text});
    row("submodules", "without url", QJsonArray{QJsonObject{{QStringLiteral("path"), text}}});
    row("submodules", "without path", QJsonArray{QJsonObject{{QStringLiteral("url"), text}}});
    row("submodules", "mistyped path",
        QJsonArray{QJsonObject{{QStringLiteral("path"), 1}, {QStringLiteral("url"), text}}});
}

void ProjectInfoTest::mistypedKeysMakeItUnreadable()
{
    QFETCH(QString, key);
    QFETCH(QJsonValue, value);
    QJsonObject object = sampleObject();
    object.insert(key, value);
    QVERIFY(!ProjectInfo::fromJson(bytes(object)));
}

void ProjectInfoTest::unknownKeysAreIgnored()
{
    QJsonObject object = sampleObject();
    object.insert(QStringLiteral("other"), QJsonArray{1, 2});
    QJsonArray submodules = object.value(u"submodules").toArray();
    QJsonObject first = submodules.at(0).toObject();
    first.insert(QStringLiteral("branch"), QStringLiteral("main"));
    submodules.replace(0, first);
    object.insert(QStringLiteral("submodules"), submodules);
    const auto info = ProjectInfo::fromJson(bytes(object));
    QVERIFY(info);
    QVERIFY(*info == sample());
}

void ProjectInfoTest::otherDocumentsAreUnreadable_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("list") << QByteArray("[]");
    QTest::newRow("empty object") << QByteArray("{}");
    QTest::newRow("cut short") << sample().toJson().chopped(10);
    QTest::newRow("text behind") << sample().toJson() + "x";
    QTest::newRow("invalid UTF-8") << sample().toJson().replace("BSD", "B\xff");
}

void ProjectInfoTest::otherDocumentsAreUnreadable()
{
    QFETCH(QByteArray, json);
    QVERIFY(!ProjectInfo::fromJson(json));
}

QTEST_GUILESS_MAIN(ProjectInfoTest)
#include "tst_projectinfo.moc"
