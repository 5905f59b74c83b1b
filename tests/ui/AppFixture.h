#pragma once

#include "ModelFixture.h"
#include "ViewFixture.h"

#include "ui/BrindleApp.h"

#include <QSignalSpy>

#include <functional>
#include <memory>

namespace brindle {

/// Base class for tests of the application. The process-wide model has a complete game and engine.
class AppFixture : public QObject
{
protected:
    /// Call once, before the first `start`.
    void prepare();
    /// Opens the application, before each test.
    void start();
    /// Ends running work and the application, after each test.
    void stop();

    static AppModel &model() { return AppModel::shared(); }
    BrindleApp &app() { return *app_; }
    QString root() const { return files_->root(); }
    QQuickItem *find(const QString &name) const;
    /// Returns the visible alert, or null.
    QQuickItem *alert() const { return find(QStringLiteral("alert")); }
    QString text(const QString &name) const { return find(name)->property("text").toString(); }
    /// Returns how often the application has begun to end.
    qsizetype endings() const { return endings_->size(); }

    void startGame();
    void finishGame();

    /// Calls `request`, which must open a question and serve events until the answer. Calls
    /// `meanwhile` while the question is visible, then presses a button if the question is still
    /// there.
    void ask(
        const std::function<void()> &request, int button,
        const std::function<void()> &meanwhile = [] {});

private:
    std::unique_ptr<ModelFixture> files_;
    std::shared_ptr<QuickDesktop> desktop_ = std::make_shared<QuickDesktop>(Platform::Command());
    std::unique_ptr<BrindleApp> app_;
    std::unique_ptr<QSignalSpy> endings_;
};

} // namespace brindle
