// The description of a project and its saved form.

#include "project/ProjectInfo.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <limits>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

ProjectInfo sample()
{
    ProjectInfo info;
    info.name = u"Größe \"zwei\""_s;
    info.configVersion = 4;
    info.features = {u"4.2.2"_s, u"C#"_s};
    info.godotVersion = u"4.2.2"_s;
    info.usesCSharp = true;
    info.mainScene = u"res://main.tscn"_s;
    info.licenseName = u"BSD"_s;
    info.copyright = u"Copyright (c) 1999 Ada"_s;
    info.tagline = u"One line."_s;
    info.controls = {u"WASD: move"_s, QString()};
    info.submodules = {{u"addons/a"_s, u"https://github.com/x/a.git"_s}, {QString(), u"u"_s}};
    info.addons = {u"a"_s, u"b"_s};
    info.repoRoot = u"/games/repo"_s;
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
    u"name"_s,      u"configVersion"_s, u"features"_s,  u"usesCSharp"_s,
    u"mainScene"_s, u"licenseName"_s,   u"copyright"_s, u"tagline"_s,
    u"controls"_s,  u"submodules"_s,    u"addons"_s,    u"repoRoot"_s,
};

} // namespace

class TestProjectInfo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void placeholderHoldsTheDefaults()
    {
        const ProjectInfo &info = ProjectInfo::placeholder;
        QCOMPARE(info.name, u"Brindle"_s);
        QCOMPARE(info.configVersion, 5);
        QCOMPARE(info.features, QStringList());
        QCOMPARE(info.godotVersion.value_or(QString()), u"4.3"_s);
        QVERIFY(!info.usesCSharp);
        QCOMPARE(info.mainScene, QString());
        QCOMPARE(info.licenseName, u"MIT License"_s);
        QCOMPARE(info.copyright, u"Copyright (c) 2023 Tessel Works"_s);
        QCOMPARE(info.tagline, u"Open source real-time strategy game made with Godot 4."_s);
        QCOMPARE(info.controls, QStringList());
        QVERIFY(info.submodules.isEmpty());
        QCOMPARE(info.addons, QStringList());
        QCOMPARE(info.repoRoot, QString());
        QVERIFY(info == ProjectInfo());
        QVERIFY(!(info == sample()));
    }

    void savedFormNamesTheFields()
    {
        QStringList keys = requiredKeys;
        keys.append(u"godotVersion"_s);
        keys.sort();
        const QJsonObject object = sampleObject();
        QCOMPARE(object.keys(), keys);
        QCOMPARE(object.value(u"name"), QJsonValue(sample().name));
        QCOMPARE(object.value(u"configVersion"), QJsonValue(4));
        QCOMPARE(object.value(u"usesCSharp"), QJsonValue(true));
        QCOMPARE(object.value(u"features"),
                 QJsonValue(QJsonArray::fromStringList(sample().features)));
        QCOMPARE(object.value(u"godotVersion"), QJsonValue(u"4.2.2"_s));
        const QJsonObject first = object.value(u"submodules").toArray().at(0).toObject();
        QCOMPARE(first, QJsonObject({{u"path"_s, u"addons/a"_s},
                                     {u"url"_s, u"https://github.com/x/a.git"_s}}));
    }

    void savedFormIsReadBack()
    {
        for (const ProjectInfo &info : {sample(), ProjectInfo::placeholder}) {
            QCOMPARE(ProjectInfo::fromJson(info.toJson()), info);
        }
    }

    void savedFormKeepsByteOrderMarks()
    {
        const QChar mark(QChar::ByteOrderMark);
        ProjectInfo info = sample();
        info.name = mark + u"a\""_s + mark + u"\\\""_s + mark;
        info.tagline = mark;
        info.addons = {mark + u"a"_s};
        QCOMPARE(ProjectInfo::fromJson(info.toJson()), info);
    }

    void leavesOutAnAbsentVersion()
    {
        ProjectInfo info = sample();
        info.godotVersion.reset();
        const QJsonObject object = QJsonDocument::fromJson(info.toJson()).object();
        QVERIFY(!object.contains(u"godotVersion"));
        QCOMPARE(ProjectInfo::fromJson(info.toJson()), info);
    }

    void keepsAllSixtyFourBits_data()
    {
        QTest::addColumn<qint64>("number");
        QTest::newRow("beyond a double's precision") << qint64(9'007'199'254'740'993);
        QTest::newRow("largest") << std::numeric_limits<qint64>::max();
        QTest::newRow("smallest") << std::numeric_limits<qint64>::min();
        QTest::newRow("zero") << qint64(0);
        QTest::newRow("one") << qint64(1);
    }
    void keepsAllSixtyFourBits()
    {
        QFETCH(qint64, number);
        ProjectInfo info = sample();
        info.configVersion = number;
        QCOMPARE(ProjectInfo::fromJson(info.toJson()), info);
    }

    void everyRequiredKeyIsRequired_data()
    {
        QTest::addColumn<QString>("key");
        for (const QString &key : requiredKeys) {
            QTest::newRow(qPrintable(key)) << key;
        }
    }
    void everyRequiredKeyIsRequired()
    {
        QFETCH(QString, key);
        QJsonObject object = sampleObject();
        QVERIFY(object.contains(key));
        object.remove(key);
        QVERIFY(!ProjectInfo::fromJson(bytes(object)));
        object.insert(key, QJsonValue::Null);
        QVERIFY(!ProjectInfo::fromJson(bytes(object)));
    }

    void mistypedKeysMakeItUnreadable_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QJsonValue>("value");
        const auto row = [](const char *key, const char *what, const QJsonValue &value) {
            QTest::addRow("%s: %s", key, what) << QString::fromLatin1(key) << value;
        };
        const QJsonValue text(u"text"_s);
        for (const char *key : {"name", "mainScene", "licenseName", "copyright", "tagline",
                                "repoRoot", "godotVersion"}) {
            row(key, "number", 5);
            row(key, "list", QJsonArray{text});
        }
        for (const char *key : {"features", "controls", "addons"}) {
            row(key, "text", text);
            row(key, "list with a number", QJsonArray{text, 5});
            row(key, "list with null", QJsonArray{QJsonValue::Null});
            row(key, "object", QJsonObject());
        }
        row("configVersion", "text", u"5"_s);
        row("configVersion", "boolean", true);
        row("configVersion", "fraction", 5.5);
        row("configVersion", "too large", 1e19);
        row("configVersion", "one too large", 9223372036854775808.0);
        row("usesCSharp", "number", 1);
        row("usesCSharp", "text", u"true"_s);
        row("submodules", "text", text);
        row("submodules", "list of texts", QJsonArray{text});
        row("submodules", "without url", QJsonArray{QJsonObject{{u"path"_s, text}}});
        row("submodules", "without path", QJsonArray{QJsonObject{{u"url"_s, text}}});
        row("submodules", "mistyped path",
            QJsonArray{QJsonObject{{u"path"_s, 1}, {u"url"_s, text}}});
    }
    void mistypedKeysMakeItUnreadable()
    {
        QFETCH(QString, key);
        QFETCH(QJsonValue, value);
        QJsonObject object = sampleObject();
        object.insert(key, value);
        QVERIFY(!ProjectInfo::fromJson(bytes(object)));
    }

    void unknownKeysAreIgnored()
    {
        QJsonObject object = sampleObject();
        object.insert(u"other"_s, QJsonArray{1, 2});
        QJsonArray submodules = object.value(u"submodules").toArray();
        QJsonObject first = submodules.at(0).toObject();
        first.insert(u"branch"_s, u"main"_s);
        submodules.replace(0, first);
        object.insert(u"submodules"_s, submodules);
        QCOMPARE(ProjectInfo::fromJson(bytes(object)), sample());
    }

    void otherDocumentsAreUnreadable_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("list") << QByteArray("[]");
        QTest::newRow("empty object") << QByteArray("{}");
        QTest::newRow("cut short") << sample().toJson().chopped(10);
        QTest::newRow("text behind") << sample().toJson() + "x";
        QTest::newRow("invalid UTF-8") << sample().toJson().replace("BSD", "B\xff");
    }
    void otherDocumentsAreUnreadable()
    {
        QFETCH(QByteArray, json);
        QVERIFY(!ProjectInfo::fromJson(json));
    }
};

QTEST_GUILESS_MAIN(TestProjectInfo)
#include "tst_projectinfo.moc"
