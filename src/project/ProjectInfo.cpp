#include "project/ProjectInfo.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace brindle {

const ProjectInfo ProjectInfo::placeholder;

namespace {

/// Takes an object's members apart; remembers when one was missing or mistyped.
class Reader
{
public:
    explicit Reader(QJsonObject object) : object_(std::move(object)) {}

    bool failed() const { return failed_; }
    bool has(QStringView key) const
    {
        const QJsonValue value = object_.value(key);
        return !value.isUndefined() && !value.isNull();
    }

    QString string(QStringView key)
    {
        const QJsonValue value = object_.value(key);
        failed_ |= !value.isString();
        return value.toString();
    }

    bool boolean(QStringView key)
    {
        const QJsonValue value = object_.value(key);
        failed_ |= !value.isBool();
        return value.toBool();
    }

    qint64 integer(QStringView key)
    {
        const QJsonValue value = object_.value(key);
        // A number that is not integral, or too large, yields whatever the default is.
        failed_ |= value.toInteger(0) != value.toInteger(1);
        return value.toInteger();
    }

    QJsonArray array(QStringView key)
    {
        const QJsonValue value = object_.value(key);
        failed_ |= !value.isArray();
        return value.toArray();
    }

    QStringList strings(QStringView key)
    {
        QStringList list;
        for (const QJsonValue item : array(key)) {
            failed_ |= !item.isString();
            list.append(item.toString());
        }
        return list;
    }

    QList<Submodule> submodules(QStringView key)
    {
        QList<Submodule> list;
        for (const QJsonValue item : array(key)) {
            Reader reader(item.toObject());
            list.append({reader.string(u"path"), reader.string(u"url")});
            failed_ |= reader.failed();
        }
        return list;
    }

private:
    QJsonObject object_;
    bool failed_ = false;
};

} // namespace

QByteArray ProjectInfo::toJson() const
{
    QJsonArray modules;
    for (const Submodule &submodule : submodules) {
        modules.append(QJsonObject{{QStringLiteral("path"), submodule.path},
                                   {QStringLiteral("url"), submodule.url}});
    }
    QJsonObject object{
        {QStringLiteral("name"), name},
        {QStringLiteral("configVersion"), configVersion},
        {QStringLiteral("features"), QJsonArray::fromStringList(features)},
        {QStringLiteral("usesCSharp"), usesCSharp},
        {QStringLiteral("mainScene"), mainScene},
        {QStringLiteral("licenseName"), licenseName},
        {QStringLiteral("copyright"), copyright},
        {QStringLiteral("tagline"), tagline},
        {QStringLiteral("controls"), QJsonArray::fromStringList(controls)},
        {QStringLiteral("submodules"), modules},
        {QStringLiteral("addons"), QJsonArray::fromStringList(addons)},
        {QStringLiteral("repoRoot"), repoRoot},
    };
    if (godotVersion) {
        object.insert(QStringLiteral("godotVersion"), *godotVersion);
    }
    // Qt's reader drops a byte order mark at the start of a text, unless it is written as an
    // escape.
    return QJsonDocument(object).toJson().replace("\"\xEF\xBB\xBF", "\"\\ufeff");
}

std::optional<ProjectInfo> ProjectInfo::fromJson(const QByteArray &json)
{
    const QJsonDocument document = QJsonDocument::fromJson(json);
    if (!document.isObject()) {
        return std::nullopt;
    }
    Reader reader(document.object());
    ProjectInfo info;
    info.name = reader.string(u"name");
    info.configVersion = reader.integer(u"configVersion");
    info.features = reader.strings(u"features");
    info.godotVersion.reset();
    if (reader.has(u"godotVersion")) {
        info.godotVersion = reader.string(u"godotVersion");
    }
    info.usesCSharp = reader.boolean(u"usesCSharp");
    info.mainScene = reader.string(u"mainScene");
    info.licenseName = reader.string(u"licenseName");
    info.copyright = reader.string(u"copyright");
    info.tagline = reader.string(u"tagline");
    info.controls = reader.strings(u"controls");
    info.submodules = reader.submodules(u"submodules");
    info.addons = reader.strings(u"addons");
    info.repoRoot = reader.string(u"repoRoot");
    if (reader.failed()) {
        return std::nullopt;
    }
    return info;
}

} // namespace brindle
