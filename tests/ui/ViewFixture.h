#pragma once

#include "core/AppModel.h"
#include "log/LogStore.h"

#include <QQmlEngine>
#include <QQuickWindow>
#include <QVariantMap>

#include <functional>
#include <memory>

namespace brindle {

/// Returns the visible item of this object name, or null.
QQuickItem *visibleItem(QQuickItem *below, const QString &name);

/// Shows the main window on a stand-in model.
class ViewFixture
{
public:
    /// @param properties the window's properties. A "model" among them replaces the stand-in.
    /// @param engine has already loaded the views, to save time. By default the window makes its
    /// own.
    explicit ViewFixture(QVariantMap properties = {}, QQmlEngine *engine = nullptr);
    ~ViewFixture();

    /// Makes text look the same on every computer. Calls after the first do nothing.
    static void setUpApplication();
    /// Makes all windows light or dark. Call while there is no window.
    static void setDark(bool dark);
    /// Sets the desktop's default font.
    static void setFont(const QString &family, int pixels);

    /// Sets properties of the stand-in.
    void set(const QVariantMap &properties);
    /// Sets the stand-in's phase and the fields that follow from it.
    void enter(const char *phase);
    /// Returns the names of the stand-in's texts.
    QStringList textProperties() const;
    /// Returns the actions that the views have called.
    QStringList calls() const;
    /// Returns the stand-in's log.
    LogStore &log() const;

    QQuickWindow *window() const { return window_.get(); }
    QQmlEngine *engine() { return engine_; }
    /// Opens "settings", "about" or "log". Returns the sheet's view.
    QQuickItem *openSheet(const QString &name);
    /// Shows an alert, calls `act` with its view, and returns the answer. Dismisses an alert that
    /// `act` leaves open.
    int withAlert(const Alert &alert, const std::function<void(QQuickItem *)> &act);
    /// Returns the visible item of this object name, or null.
    QQuickItem *find(const QString &name) const;
    /// Returns the text of a visible item; empty without one.
    QString text(const QString &name) const;
    /// Clicks in the middle of a visible item.
    void click(const QString &name);
    /// Waits until the buttons accept clicks. New buttons ignore clicks for a moment.
    void takeClicks() const;
    /// Waits until the window has drawn its current content.
    void settle() const;

private:
    std::unique_ptr<QQmlEngine> ownEngine_;
    QQmlEngine *engine_;
    std::unique_ptr<QObject> standIn_;
    std::unique_ptr<QQuickWindow> window_;
};

} // namespace brindle
