// Tests the description of a project and its saved form.

#include "project/ProjectInfo.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <limits>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

const QByteArray saved = R"({
    "name": "Größe \"zwei\"", "configVersion": 4, "features": ["4.2.2", "C#"],
    "godotVersion": "4.2.2", "usesCSharp": true, "mainScene": "res://main.tscn",
    "licenseName": "BSD", "copyright": "Copyright (c) 1999 Ada", "tagline": "One line.",
    "controls": ["WASD: move", ""],
    "submodules": [{"path": "addons/a", "url": "https://github.com/x/a.git"},
                   {"path": "", "url": "u"}],
    "addons": ["a", "b"], "repoRoot": "/games/repo"
})";

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

/// Returns the saved form with one value replaced, or removed if the value is undefined.
QByteArray with(const QString &key, const QJsonValue &value)
{
    QJsonObject object = QJsonDocument::fromJson(saved).object();
    object.insert(key, value);
    return QJsonDocument(object).toJson();
}

} // namespace

class TestProjectInfo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void placeholderHoldsTheDefaults()
    {
        const QByteArray defaults = R"({
            "name": "Brindle", "configVersion": 5, "features": [], "godotVersion": "4.3",
            "usesCSharp": false, "mainScene": "", "licenseName": "MIT License",
            "copyright": "Copyright (c) 2023 Tessel Works",
            "tagline": "Open source real-time strategy game made with Godot 4.",
            "controls": [], "submodules": [], "addons": [], "repoRoot": ""
        })";
        QCOMPARE(QJsonDocument::fromJson(ProjectInfo::placeholder.toJson()),
                 QJsonDocument::fromJson(defaults));
    }

    void savedFormNamesTheFields()
    {
        QCOMPARE(QJsonDocument::fromJson(sample().toJson()), QJsonDocument::fromJson(saved));
        ProjectInfo info;
        info.godotVersion.reset();
        QVERIFY(!info.toJson().contains("godotVersion"));
    }

    void savedFormIsReadBack_data()
    {
        QTest::addColumn<ProjectInfo>("info");
        QTest::newRow("all fields") << sample();
        ProjectInfo info = sample();
        info.godotVersion.reset();
        QTest::newRow("no version") << info;
        const QChar mark(QChar::ByteOrderMark);
        info.name = mark + u"a\""_s + mark + u"\\\""_s + mark;
        info.tagline = mark;
        info.addons = {mark + u"a"_s};
        QTest::newRow("byte order marks") << info;
        for (const qint64 number :
             {std::numeric_limits<qint64>::max(), std::numeric_limits<qint64>::min(), qint64(0),
              qint64(1), qint64(9'007'199'254'740'993)}) {
            info.configVersion = number;
            QTest::addRow("%lld", number) << info;
        }
    }
    void savedFormIsReadBack()
    {
        QFETCH(const ProjectInfo, info);
        QCOMPARE(ProjectInfo::fromJson(info.toJson()), info);
    }

    void unknownKeysAreIgnored()
    {
        const QJsonArray submodules{QJsonObject{{u"path"_s, u"addons/a"_s},
                                                {u"url"_s, u"https://github.com/x/a.git"_s},
                                                {u"branch"_s, u"main"_s}},
                                    QJsonObject{{u"path"_s, u""_s}, {u"url"_s, u"u"_s}}};
        QCOMPARE(ProjectInfo::fromJson(with(u"other"_s, 1)), sample());
        QCOMPARE(ProjectInfo::fromJson(with(u"submodules"_s, submodules)), sample());
    }

    void aNullVersionIsAbsent()
    {
        ProjectInfo info = sample();
        info.godotVersion.reset();
        QCOMPARE(ProjectInfo::fromJson(with(u"godotVersion"_s, QJsonValue::Null)), info);
    }

    void mistypedKeysMakeItUnreadable_data()
    {
        QTest::addColumn<QByteArray>("json");
        const auto row = [](const QString &key, const char *what, const QJsonValue &value) {
            QTest::addRow("%s: %s", qPrintable(key), what) << with(key, value);
        };
        const QJsonObject all = QJsonDocument::fromJson(saved).object();
        for (const QString &key : all.keys()) {
            if (key != u"godotVersion") {
                row(key, "missing", QJsonValue::Undefined);
                row(key, "null", QJsonValue::Null);
            }
            if (all[key].isString()) {
                row(key, "number", 5);
                row(key, "list", QJsonArray{u"text"_s});
            }
            if (all[key].isArray()) {
                row(key, "text", u"text"_s);
                row(key, "list with a number", QJsonArray{u"text"_s, 5});
                row(key, "list with null", QJsonArray{QJsonValue::Null});
            }
        }
        row(u"configVersion"_s, "text", u"5"_s);
        row(u"configVersion"_s, "boolean", true);
        row(u"configVersion"_s, "fraction", 5.5);
        row(u"configVersion"_s, "too large", 9223372036854775808.0);
        row(u"usesCSharp"_s, "number", 1);
        for (const char *submodule : {"{\"path\":\"p\"}", "{\"url\":\"u\"}",
                                      "{\"path\":1,\"url\":\"u\"}", "{\"path\":\"p\",\"url\":1}"}) {
            row(u"submodules"_s, submodule,
                QJsonArray{QJsonDocument::fromJson(submodule).object()});
        }
        const auto document = [](const char *name, const QByteArray &json) {
            QTest::newRow(name) << json;
        };
        document("empty", "");
        document("list", "[]");
        document("cut short", saved.chopped(10));
        document("text behind", saved + "x");
        document("invalid UTF-8", QByteArray(saved).replace("BSD", "B\xff"));
    }
    void mistypedKeysMakeItUnreadable()
    {
        QFETCH(const QByteArray, json);
        QVERIFY(!ProjectInfo::fromJson(json));
    }
};

QTEST_GUILESS_MAIN(TestProjectInfo)
#include "tst_projectinfo.moc"
