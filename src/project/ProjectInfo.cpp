#include "project/ProjectInfo.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

namespace brindle {

const ProjectInfo ProjectInfo::placeholder;

namespace {

/// Hands each key of the saved form to `use`, with its field: the one list for writing and reading.
template <typename Info, typename Use>
void eachField(Info &info, Use use)
{
    use(QStringLiteral("name"), info.name);
    use(QStringLiteral("configVersion"), info.configVersion);
    use(QStringLiteral("features"), info.features);
    use(QStringLiteral("godotVersion"), info.godotVersion);
    use(QStringLiteral("usesCSharp"), info.usesCSharp);
    use(QStringLiteral("mainScene"), info.mainScene);
    use(QStringLiteral("licenseName"), info.licenseName);
    use(QStringLiteral("copyright"), info.copyright);
    use(QStringLiteral("tagline"), info.tagline);
    use(QStringLiteral("controls"), info.controls);
    use(QStringLiteral("submodules"), info.submodules);
    use(QStringLiteral("addons"), info.addons);
    use(QStringLiteral("repoRoot"), info.repoRoot);
}

// `written` is the JSON of a field; `read` fills a field and returns false when it is missing or
// mistyped.

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
    return QJsonObject{{QStringLiteral("path"), submodule.path},
                       {QStringLiteral("url"), submodule.url}};
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

bool read(const QJsonValue &value, QString &text)
{
    text = value.toString();
    return value.isString();
}

bool read(const QJsonValue &value, bool &flag)
{
    flag = value.toBool();
    return value.isBool();
}

bool read(const QJsonValue &value, qint64 &number)
{
    // A number that is not integral, or too large, yields whatever the default is.
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
    list.clear();
    bool isGood = value.isArray();
    for (const QJsonValue item : value.toArray()) {
        isGood = read(item, list.emplaceBack()) && isGood;
    }
    return isGood;
}

} // namespace

bool ProjectInfo::isVersion(const QString &text)
{
    // Anchored by \A and \z, because $ would let a line feed at the end through.
    static const QRegularExpression form(
        QRegularExpression::anchoredPattern(QStringLiteral(R"([0-9]+\.[0-9]+(\.[0-9]+)?)")));
    return form.match(text).hasMatch();
}

QByteArray ProjectInfo::toJson() const
{
    QJsonObject object;
    eachField(*this, [&object](const QString &key, const auto &field) {
        object.insert(key, written(field)); // leaves out what is undefined
    });
    // Qt's reader drops a byte order mark at the start of a text, unless it is written as an
    // escape.
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
