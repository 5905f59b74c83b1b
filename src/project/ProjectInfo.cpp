#include "project/ProjectInfo.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace brindle {

using namespace Qt::StringLiterals;

const ProjectInfo ProjectInfo::placeholder;

namespace {

/// Calls `use` with each key of the saved form and its field.
template <typename Info, typename Use>
void eachField(Info &info, Use use)
{
    use(u"name"_s, info.name);
    use(u"configVersion"_s, info.configVersion);
    use(u"features"_s, info.features);
    use(u"godotVersion"_s, info.godotVersion);
    use(u"usesCSharp"_s, info.usesCSharp);
    use(u"mainScene"_s, info.mainScene);
    use(u"licenseName"_s, info.licenseName);
    use(u"copyright"_s, info.copyright);
    use(u"tagline"_s, info.tagline);
    use(u"controls"_s, info.controls);
    use(u"submodules"_s, info.submodules);
    use(u"addons"_s, info.addons);
    use(u"repoRoot"_s, info.repoRoot);
}

// `written` returns a field as JSON. `read` fills a field and returns whether the JSON suits it.

template <typename Plain>
QJsonValue written(const Plain &value)
{
    return value;
}

QJsonValue written(const std::optional<QString> &text)
{
    return text ? QJsonValue(*text) : QJsonValue(QJsonValue::Undefined);
}

QJsonValue written(const Submodule &submodule)
{
    return QJsonObject{{u"path"_s, submodule.path}, {u"url"_s, submodule.url}};
}

template <typename Item>
QJsonValue written(const QList<Item> &list)
{
    QJsonArray array;
    for (const Item &item : list) {
        array.append(written(item));
    }
    return array;
}

template <typename Plain>
bool read(const QJsonValue &value, Plain &field)
{
    field = value.toVariant().value<Plain>();
    return QJsonValue(field) == value;
}

bool read(const QJsonValue &value, qint64 &number)
{
    // toInteger returns its default for a number that is too large or has a fraction.
    number = value.toInteger(0);
    return number == value.toInteger(1);
}

bool read(const QJsonValue &value, std::optional<QString> &text)
{
    text.reset();
    return value.isUndefined() || value.isNull() || read(value, text.emplace());
}

bool read(const QJsonValue &value, Submodule &submodule)
{
    return read(value[u"path"], submodule.path) && read(value[u"url"], submodule.url);
}

template <typename Item>
bool read(const QJsonValue &value, QList<Item> &list)
{
    bool isGood = value.isArray();
    for (const QJsonValue item : value.toArray()) {
        isGood = read(item, list.emplaceBack()) && isGood;
    }
    return isGood;
}

} // namespace

QByteArray ProjectInfo::toJson() const
{
    QJsonObject object;
    eachField(*this, [&object](const QString &key, const auto &field) {
        object.insert(key, written(field)); // omits undefined values
    });
    // Qt's reader drops a byte order mark at the start of a text unless the mark is escaped.
    return QJsonDocument(object).toJson().replace("\"\xEF\xBB\xBF", "\"\\ufeff");
}

std::optional<ProjectInfo> ProjectInfo::fromJson(const QByteArray &json)
{
    const QJsonDocument document = QJsonDocument::fromJson(json);
    ProjectInfo info;
    bool isGood = document.isObject();
    eachField(info, [&](const QString &key, auto &field) {
        isGood = read(document[key], field) && isGood;
    });
    return isGood ? std::optional(info) : std::nullopt;
}

} // namespace brindle
