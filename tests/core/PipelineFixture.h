#pragma once

#include "ModelFixture.h"

#include "demo/ReleaseHost.h"
#include "support/ManualClock.h"

#include <atomic>

namespace brindle {

/// A model against a release host that offers a game with two add-ons and an engine script, on a
/// clock that the test moves.
class PipelineFixture : public ModelFixture
{
public:
    PipelineFixture();
    ~PipelineFixture() { restart(); }
    PipelineFixture(const PipelineFixture &) = delete;
    PipelineFixture &operator=(const PipelineFixture &) = delete;

    /// Offers a game of that content; in its ".gitmodules" "{host}" becomes the host's address,
    /// and "{outside}" a path that leads out of the game's folder.
    void offerGame(const QByteArray &projectFile, const QByteArray &modules = gitmodules());
    /// Offers the usual game with more files, content by path.
    void offerGameWith(const QMap<QString, QByteArray> &extra);
    void offerEngine(const QByteArray &script, const QString &version = QStringLiteral("4.3"),
                     bool mono = false);

    /// @param feature one more of the project's features.
    static QByteArray projectFile(const QByteArray &version = QByteArrayLiteral("4.3"),
                                  const QByteArray &feature = {});
    /// Two add-ons, on `{host}`.
    static QByteArray gitmodules();

    /// Presses Play and serves events until no task runs.
    void playToTheEnd();
    /// Presses Play and serves events until the engine script prints that it is playing.
    void playUntilOpen();
    /// Serves events until the log holds a line that contains the text.
    void waitForLine(const QString &text);
    bool logHas(const QString &line) { return model().log.lines().contains(line); }
    QString project() const { return root(QStringLiteral("Game/godot-brindle-main")); }
    /// Lets the game end with a code after it has run that long.
    void finish(double seconds, int code);
    /// Lets the time for the last lines pass and serves events until no task runs.
    void passTheEnd();
    /// Answers a path with silence until the client goes away; `stalled` becomes true by then.
    void stall(const QString &path);

    ReleaseHost host;
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::atomic<bool> stalled = false;

private:
    void packGame(const QString &folder, const QByteArray &projectFile, const QByteArray &modules);

    QTemporaryDir sources_;
};

} // namespace brindle
