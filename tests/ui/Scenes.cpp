#include "Scenes.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace brindle {

void Scene::show(QQmlEngine &engine, bool smallest,
                 const std::function<void(ViewFixture &)> &look) const
{
    ViewFixture view({}, &engine);
    if (qstrcmp(phase, "NotDownloaded") != 0) {
        view.set({{u"controls"_s,
                   QStringList{u"WASD or arrow keys: move the camera"_s, u"Mouse wheel: zoom"_s,
                               u"Left click: select units"_s,
                               u"Right click: move, attack or gather"_s, u"Esc: menu"_s}}});
    }
    view.enter(phase);
    view.set(properties);
    for (int i = 1; i <= logLines; ++i) {
        const QString line = i % 9 == 0 ? u"• Fetching add-on addons/minimap %1"_s
                                        : u"reimport: step %1: res://assets/models/tank.png"_s;
        view.log().append(line.arg(i));
    }
    if (smallest) {
        view.window()->resize(view.window()->minimumSize());
    }
    QVERIFY(QTest::qWaitForWindowActive(view.window()));
    if (sheet == u"alert") {
        const Alert question{
            u"Remove the game and the engine?"_s,
            u"This frees 486.2 MB. Your saved games (in Godot's own folder) are kept."_s,
            {u"Remove"_s, u"Cancel"_s}};
        view.withAlert(question, [&](QQuickItem *) { look(view); });
        return;
    }
    if (!sheet.isEmpty()) {
        view.openSheet(sheet);
    }
    for (int i = 0; i < tabs; ++i) {
        QTest::keyClick(view.window(), Qt::Key_Tab);
    }
    view.settle();
    look(view);
}

QList<Scene> scenes()
{
    const QString message = u"The game closed after 3 seconds (exit code 1), so it did not start "
                            u"properly."_s;
    QStringList lines{u"Godot Engine v4.3.stable.official"_s,
                      u"OpenGL API 4.6 - Compatibility - Using Device: llvmpipe"_s, QString()};
    for (int i = 1; i <= 12; ++i) {
        lines << u"SCRIPT ERROR: Parse Error: Identifier \"unit_%1\" not declared in the current "
                 u"scope."_s.arg(i)
              << u"          at: GDScript::reload (res://main.gd:%1)"_s.arg(40 + i);
    }
    const QString control = u"Hold a modifier key while dragging a rectangle over units with the "
                            u"left mouse button to add them to the selection, or double-click one "
                            u"to select all of its kind"_s;
    return {
        {"01-not-downloaded"},
        {"02-downloading-unknown-size",
         "Downloading",
         {{u"stepText"_s, u"Step 1 of 3 · Downloading the game"_s},
          {u"detail"_s, u"12.4 MB · 3.1 MB/s"_s}}},
        {"03-downloading",
         "Downloading",
         {{u"stepText"_s, u"Step 2 of 3 · Downloading Godot 4.3-stable"_s},
          {u"hasProgress"_s, true},
          {u"progress"_s, 0.62},
          {u"detail"_s, u"34.2 MB of 55.1 MB · 4.8 MB/s"_s},
          {u"timeLeft"_s, u"About 4 minutes left"_s}}},
        {"04-setting-up",
         "SettingUp",
         {{u"stepText"_s, u"Step 3 of 3 · First-time setup, this can take a minute or more"_s},
          {u"detail"_s, u"Godot is importing the game's files"_s}}},
        {"05-needs",
         "Needs",
         {{u"needsMessage"_s, u"The game needs Godot 3.5, which this app can't use. Update the "
                              u"game, or try again later."_s}}},
        {"06-ready", "Ready"},
        {"07-starting", "Starting", {{u"stepText"_s, u"Starting the game…"_s}}},
        {"08-playing", "Playing"},
        {"09-failure",
         "Needs",
         {{u"needsMessage"_s, message},
          {u"hasFailure"_s, true},
          {u"failureSummary"_s,
           message + u" The game's scripts reported errors. The log below shows where."_s},
          {u"failureText"_s, lines.join(u'\n')}}},
        {"10-long-texts",
         "Ready",
         {{u"name"_s, u"An extraordinarily long name "_s.repeated(10)},
          {u"tagline"_s,
           u"<b>not bold</b> and <a href=\"https://x\">no link</a> عنوان اللعبة 🎮🏰 "_s.repeated(
               4)},
          {u"licenseName"_s, QString(300, u'x')},
          {u"copyright"_s, QString()},
          {u"controls"_s, QStringList(8, control)}}},
        {"11-settings", "Ready", {{u"storageSize"_s, u"486.2 MB"_s}}, u"settings"_s},
        {"12-settings-while-playing",
         "Playing",
         {{u"storageSize"_s, u"486.2 MB"_s}, {u"fullscreen"_s, true}, {u"resolution"_s, 3}},
         u"settings"_s},
        {"13-about", "Ready", {}, u"about"_s},
        {"14-log", "Ready", {}, u"log"_s, 60},
        {"15-log-empty", "NotDownloaded", {}, u"log"_s},
        {"16-alert", "Ready", {}, u"alert"_s},
        {"17-focus", "Ready", {}, {}, 0, 3},
    };
}

} // namespace brindle
