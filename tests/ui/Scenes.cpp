#include "Scenes.h"

#include "ui/Phase.h"

namespace brindle {

namespace {

const QStringList controls{
    QStringLiteral("WASD or arrow keys: move the camera"), QStringLiteral("Mouse wheel: zoom"),
    QStringLiteral("Left click: select units"),
    QStringLiteral("Right click: move, attack or gather"), QStringLiteral("Esc: menu")};

QVariantMap with(QVariantMap properties)
{
    QVariantMap all{{QStringLiteral("controls"), controls}};
    all.insert(properties);
    return all;
}

QVariantMap busy(Phase::Value phase, const QString &step, QVariantMap more = {})
{
    QVariantMap all = with({{QStringLiteral("phase"), phase},
                            {QStringLiteral("stepText"), step},
                            {QStringLiteral("canCancel"), true},
                            {QStringLiteral("canPlay"), false}});
    all.insert(more);
    return all;
}

QVariantMap running(Phase::Value phase, const QString &step)
{
    return with({{QStringLiteral("phase"), phase},
                 {QStringLiteral("stepText"), step},
                 {QStringLiteral("gameRunning"), true},
                 {QStringLiteral("canPlay"), false}});
}

QString failureText()
{
    QStringList lines{QStringLiteral("Godot Engine v4.3.stable.official"),
                      QStringLiteral("OpenGL API 4.6 - Compatibility - Using Device: llvmpipe"),
                      QString()};
    for (int i = 1; i <= 12; ++i) {
        lines << QStringLiteral("SCRIPT ERROR: Parse Error: Identifier \"unit_%1\" not declared in "
                                "the current scope.")
                     .arg(i)
              << QStringLiteral("          at: GDScript::reload (res://main.gd:%1)").arg(40 + i);
    }
    return lines.join(QLatin1Char('\n'));
}

} // namespace

Alert question()
{
    return {
        QStringLiteral("Remove the game and the engine?"),
        QStringLiteral("This frees 486.2 MB. Your saved games (in Godot's own folder) are kept."),
        {QStringLiteral("Remove"), QStringLiteral("Cancel")}};
}

QList<Scene> scenes()
{
    const auto text = [](const char *utf8) { return QString::fromUtf8(utf8); };
    const QString message = text("The game closed after 3 seconds (exit code 1), so it did not "
                                 "start properly.");
    QStringList longControls;
    for (int i = 0; i < 8; ++i) {
        longControls << QStringLiteral("Hold the %1th modifier key while dragging a rectangle over "
                                       "units with the left mouse button to add them to the "
                                       "selection, or double-click one to select all of its kind")
                            .arg(i + 1);
    }
    return {
        {"01-not-downloaded", {}, {}},
        {"02-downloading-unknown-size",
         busy(Phase::Downloading, text("Step 1 of 3 · Downloading the game"),
              {{text("detail"), text("12.4 MB · 3.1 MB/s")}}),
         {}},
        {"03-downloading",
         busy(Phase::Downloading, text("Step 2 of 3 · Downloading Godot 4.3-stable"),
              {{text("hasProgress"), true},
               {text("progress"), 0.62},
               {text("detail"), text("34.2 MB of 55.1 MB · 4.8 MB/s")},
               {text("timeLeft"), text("About 4 minutes left")}}),
         {}},
        {"04-setting-up",
         busy(Phase::SettingUp,
              text("Step 3 of 3 · First-time setup, this can take a minute or more"),
              {{text("detail"), text("Godot is importing the game's files")}}),
         {}},
        {"05-needs",
         with({{text("phase"), Phase::Needs},
               {text("needsMessage"), text("The game needs Godot 3.5, which this app can't use. "
                                           "Update the game, or try again later.")}}),
         {}},
        {"06-ready", with({{text("phase"), Phase::Ready}}), {}},
        {"07-starting", running(Phase::Starting, text("Starting the game…")), {}},
        {"08-playing", running(Phase::Playing, text("The game is open")), {}},
        {"09-failure",
         with({{text("phase"), Phase::Needs},
               {text("needsMessage"), message},
               {text("hasFailure"), true},
               {text("failureSummary"),
                message + text(" The game's scripts reported errors. The log below shows where.")},
               {text("failureText"), failureText()}}),
         {}},
        {"10-long-texts",
         with({{text("name"), text("An extraordinarily long name ").repeated(10)},
               {text("tagline"), text("<b>not bold</b> and <a href=\"https://x\">no link</a> "
                                      "عنوان اللعبة 🎮🏰 ")
                                     .repeated(4)},
               {text("licenseName"), text("MIT License")},
               {text("copyright"), QString()},
               {text("controls"), longControls}}),
         {}},
        {"11-settings",
         with({{text("phase"), Phase::Ready}, {text("storageSize"), text("486.2 MB")}}),
         text("settings")},
        {"12-settings-while-playing",
         [&] {
             QVariantMap all = running(Phase::Playing, text("The game is open"));
             all.insert({{text("storageSize"), text("486.2 MB")},
                         {text("fullscreen"), true},
                         {text("resolution"), 3}});
             return all;
         }(),
         text("settings")},
        {"13-about", with({{text("phase"), Phase::Ready}}), text("about")},
        {"14-log", with({{text("phase"), Phase::Ready}}), text("log"), 60},
        {"15-log-empty", {}, text("log")},
        {"16-alert", with({{text("phase"), Phase::Ready}}), text("alert")},
        {"17-focus", with({{text("phase"), Phase::Ready}}), {}, 0, 3},
    };
}

} // namespace brindle
