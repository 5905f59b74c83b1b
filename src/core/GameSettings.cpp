#include "core/GameSettings.h"

#include "log/LogQueue.h"

#include <algorithm>

namespace brindle {

namespace {

/// How long the end of the program waits for settings to reach the disk, in milliseconds.
constexpr int maxStoring = 2'000;

QList<GameSettings::Choice> resolutions()
{
    QList<GameSettings::Choice> choices;
    for (const ResolutionChoice choice : ResolutionChoices::all) {
        const auto size = ResolutionChoices::argument(choice);
        choices << GameSettings::Choice{
            ResolutionChoices::rawValue(choice), size.value_or(QStringLiteral("Game default")),
            size ? QStringList{QStringLiteral("--resolution"), *size} : QStringList()};
    }
    return choices;
}

/// The choice that was stored; the first when it is none of them.
int storedChoice(const GameSettings::Setting &setting, const QVariant &stored)
{
    const auto isStored = [&](const GameSettings::Choice &choice) {
        QVariant value = stored; // a store may know texts only
        return value.convert(choice.stored.metaType()) && value == choice.stored;
    };
    const auto &choices = setting.choices;
    const auto found = std::find_if(choices.begin(), choices.end(), isStored);
    return found == choices.end() ? 0 : static_cast<int>(found - choices.begin());
}

} // namespace

QString ResolutionChoices::rawValue(ResolutionChoice choice)
{
    static const std::array<QString, all.size()> values{
        QStringLiteral(""), QStringLiteral("1280x720"), QStringLiteral("1600x900"),
        QStringLiteral("1920x1080"), QStringLiteral("2560x1440")};
    return values.at(static_cast<size_t>(choice));
}

std::optional<ResolutionChoice> ResolutionChoices::fromRawValue(const QString &rawValue)
{
    for (const ResolutionChoice choice : all) {
        if (ResolutionChoices::rawValue(choice) == rawValue) {
            return choice;
        }
    }
    return std::nullopt;
}

std::optional<QString> ResolutionChoices::argument(ResolutionChoice choice)
{
    const QString text = rawValue(choice);
    return text.isEmpty() ? std::nullopt : std::optional(text);
}

const QList<GameSettings::Setting> &GameSettings::table()
{
    static const QList<Setting> settings{
        {QStringLiteral("fullscreen"),
         {{false, QStringLiteral("Windowed"), {QStringLiteral("--windowed")}},
          {true, QStringLiteral("Fullscreen"), {QStringLiteral("--fullscreen")}}}},
        {QStringLiteral("resolution"), resolutions()},
    };
    return settings;
}

const GameSettings::Choice *GameSettings::choice(const QString &key, int index)
{
    for (const Setting &setting : table()) {
        if (setting.key == key && index >= 0 && index < setting.choices.size()) {
            return &setting.choices.at(index);
        }
    }
    return nullptr;
}

QVariantMap GameSettings::labels()
{
    QVariantMap all;
    for (const Setting &setting : table()) {
        QStringList labels;
        for (const Choice &choice : setting.choices) {
            labels << choice.label;
        }
        all.insert(setting.key, labels);
    }
    return all;
}

GameSettings::GameSettings(std::unique_ptr<QSettings> store, std::shared_ptr<LogQueue> log)
    : store_(std::move(store)), log_(std::move(log))
{
    for (const Setting &setting : table()) {
        chosen_.insert(setting.key, storedChoice(setting, store_->value(setting.key)));
    }
    // It would write by itself in the event loop of the thread that it belongs to.
    store_->moveToThread(nullptr);
    writer_.setMaxThreadCount(1);
}

void GameSettings::choose(const QString &key, int index)
{
    chosen_.insert(key, index);
    writer_.start([store = store_, log = log_, key, value = choice(key, index)->stored] {
        store->setValue(key, value);
        store->sync();
        if (store->status() == QSettings::NoError) {
            return;
        }
        // An error is never taken back, so someone else has to try what is left to be stored.
        QSettings again(store->fileName(), store->format());
        again.sync();
        if (again.status() != QSettings::NoError) {
            log->append(QStringLiteral("• Problem: The settings could not be saved in %1.")
                            .arg(store->fileName()));
        }
    });
}

QStringList GameSettings::arguments() const
{
    QStringList arguments;
    for (const Setting &setting : table()) {
        arguments << setting.choices.at(chosen(setting.key)).arguments;
    }
    return arguments;
}

void GameSettings::waitUntilStored()
{
    writer_.waitForDone(maxStoring);
}

} // namespace brindle
