#pragma once

#include "ModelFixture.h"

#include "ui/BrindleApp.h"

#include <QSignalSpy>

#include <functional>
#include <memory>

namespace brindle {

/// The application on the process-wide model, with a game and an engine that are complete. For
/// tests of its ways in and out to be derived from.
class AppFixture : public QObject
{
protected:
    /// Once, before the first `start`.
    void prepare();
    /// Opens the application, before each test.
    void start();
    /// Ends it, after each test, with what runs.
    void stop();

    static AppModel &model() { return AppModel::shared(); }
    BrindleApp &app() { return *app_; }
    QString root() const { return files_->root(); }
    /// The alert that is shown; null otherwise.
    QObject *alert() const { return desktop_->alert(); }
    QString alertMessage() const { return alert()->property("message").toString(); }
    QString alertText() const { return alert()->property("informativeText").toString(); }
    /// How often it has been decided that the application ends.
    qsizetype endings() const { return endings_->size(); }

    void startGame();
    void finishGame();

    /// Makes a request that leads to another question; while that is shown calls `meanwhile`, then
    /// presses the button of that index, unless the question has gone by then. The request serves
    /// events until then, so all of it runs from there.
    void ask(
        const std::function<void()> &request, int button,
        const std::function<void()> &meanwhile = [] {});

private:
    std::unique_ptr<ModelFixture> files_;
    std::shared_ptr<QuickDesktop> desktop_ =
        std::make_shared<QuickDesktop>(QList<Platform::Command>());
    std::unique_ptr<BrindleApp> app_;
    std::unique_ptr<QSignalSpy> endings_;
};

} // namespace brindle
