#include "project/ProjectInfo.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace brindle {

using namespace Qt::StringLiterals;

const ProjectInfo ProjectInfo::placeholder;

namespace {

QJsonObject written(const ProjectInfo &info)
{
    QJsonArray submodules;
    for (const auto &[path, url] : info.submodules) {
        submodules.append(QJsonObject{{u"path"_s, path}, {u"url"_s, url}});
    }
    QJsonObject object{{u"name"_s, info.name},
                       {u"configVersion"_s, info.configVersion},
                       {u"features"_s, QJsonArray::fromStringList(info.features)},
                       {u"usesCSharp"_s, info.usesCSharp},
                       {u"mainScene"_s, info.mainScene},
                       {u"licenseName"_s, info.licenseName},
                       {u"copyright"_s, info.copyright},
                       {u"tagline"_s, info.tagline},
                       {u"controls"_s, QJsonArray::fromStringList(info.controls)},
                       {u"submodules"_s, submodules},
                       {u"addons"_s, QJsonArray::fromStringList(info.addons)},
                       {u"repoRoot"_s, info.repoRoot}};
    if (info.godotVersion) {
        object.insert(u"godotVersion"_s, *info.godotVersion);
    }
    return object;
}

} // namespace

QByteArray ProjectInfo::toJson() const
{
    // Qt's reader drops a byte order mark at the start of a text unless the mark is escaped.
    return QJsonDocument(written(*this)).toJson().replace("\"\xEF\xBB\xBF", "\"\\ufeff");
}

std::optional<ProjectInfo> ProjectInfo::fromJson(const QByteArray &json)
{
    const QJsonObject saved = QJsonDocument::fromJson(json).object();
    const auto text = [&saved](const QString &key) { return saved[key].toString(); };
    const auto texts = [&saved](const QString &key) {
        return saved[key].toVariant().toStringList();
    };
    ProjectInfo info{.name = text(u"name"_s),
                     .configVersion = saved[u"configVersion"].toInteger(),
                     .features = texts(u"features"_s),
                     .godotVersion = std::nullopt,
                     .usesCSharp = saved[u"usesCSharp"].toBool(),
                     .mainScene = text(u"mainScene"_s),
                     .licenseName = text(u"licenseName"_s),
                     .copyright = text(u"copyright"_s),
                     .tagline = text(u"tagline"_s),
                     .controls = texts(u"controls"_s),
                     .submodules = {},
                     .addons = texts(u"addons"_s),
                     .repoRoot = text(u"repoRoot"_s)};
    if (const QJsonValue version = saved[u"godotVersion"];
        !version.isUndefined() && !version.isNull()) {
        info.godotVersion = version.toString();
    }
    bool isGood = saved[u"submodules"].isArray();
    for (const QJsonValue item : saved[u"submodules"].toArray()) {
        const QJsonValue path = item[u"path"];
        const QJsonValue url = item[u"url"];
        info.submodules.append({path.toString(), url.toString()});
        isGood = isGood && path.isString() && url.isString();
    }
    // A missing or mistyped value was read as a default, so writing gives another value.
    const QJsonObject again = written(info);
    for (const QString &key : again.keys()) {
        isGood = isGood && (again[key] == saved[key] || key == u"submodules");
    }
    return isGood ? std::optional(info) : std::nullopt;
}

} // namespace brindle
