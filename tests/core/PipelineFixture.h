#pragma once

#include "ModelFixture.h"

#include "demo/ReleaseHost.h"
#include "support/ManualClock.h"

#include <atomic>

namespace brindle {

/// A model with a release host and a manual clock. The host offers a game, two add-ons and an
/// engine script.
class PipelineFixture : public ModelFixture
{
public:
    PipelineFixture();
    ~PipelineFixture() { restart(); }
    PipelineFixture(const PipelineFixture &) = delete;
    PipelineFixture &operator=(const PipelineFixture &) = delete;

    /// Offers a game. "{host}" in `modules`, its ".gitmodules", becomes the host's address.
    void offerGame(const QByteArray &projectFile, const QByteArray &modules = gitmodules());
    /// Offers the usual game with more files: content by path.
    void offerGameWith(const QMap<QString, QByteArray> &extra);
    void offerEngine(const QByteArray &script, const QString &version = QStringLiteral("4.3"),
                     bool mono = false);

    /// @param feature one more feature of the project.
    static QByteArray projectFile(const QByteArray &version = QByteArrayLiteral("4.3"),
                                  const QByteArray &feature = {});
    /// Lists two add-ons on `{host}`.
    static QByteArray gitmodules();

    /// Presses Play and serves events until no task runs.
    void playToTheEnd();
    /// Presses Play and serves events until the engine script prints that it is playing.
    void playUntilOpen();
    /// Serves events until the log holds a line that contains the text.
    void waitForLine(const QString &text);
    bool logHas(const QString &line) { return model().log.lines().contains(line); }
    QString project() const { return root(QStringLiteral("Game/godot-brindle-main")); }
    /// Ends the game with a code after a running time in seconds.
    void finish(double seconds, int code);
    /// Lets the time for the last lines pass and serves events until no task runs.
    void passTheEnd();
    /// Never answers a path. A request sets `stalled`.
    void stall(const QString &path);

    ReleaseHost host;
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::atomic<bool> stalled = false;

private:
    void packGame(const QString &folder, const QByteArray &projectFile, const QByteArray &modules);

    QTemporaryDir sources_;
};

} // namespace brindle
