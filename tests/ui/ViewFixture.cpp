#include "ViewFixture.h"

#include "support/Await.h"
#include "ui/BrindleApp.h"
#include "ui/QuickDesktop.h"

#include <QFontDatabase>
#include <QGuiApplication>
#include <QMetaProperty>
#include <QPalette>
#include <QQmlComponent>
#include <QQuickItem>
#include <QTest>

#include <optional>

using namespace Qt::StringLiterals;

namespace brindle {

namespace {

template <typename T>
std::unique_ptr<T> made(QQmlEngine *engine, const QUrl &file, const QVariantMap &properties = {})
{
    QQmlComponent component(engine, file);
    std::unique_ptr<T> object(qobject_cast<T *>(component.createWithInitialProperties(properties)));
    if (!object) {
        qFatal("%s", qPrintable(component.errorString()));
    }
    return object;
}

} // namespace

QQuickItem *visibleItem(QQuickItem *below, const QString &name)
{
    if (below->objectName() == name && below->isVisible()) {
        return below;
    }
    const auto children = below->childItems();
    for (QQuickItem *child : children) {
        if (QQuickItem *const found = visibleItem(child, name)) {
            return found;
        }
    }
    return nullptr;
}

void ViewFixture::setUpApplication()
{
    static bool once = false;
    if (std::exchange(once, true)) {
        return;
    }
    BrindleApp::prepare();
    qmlRegisterType<LogStore>("BrindleTest", 1, 0, "LogStore");
    setFont(QFontDatabase::hasFamily(u"Inter"_s) ? u"Inter"_s : QGuiApplication::font().family(),
            13);
    setDark(false);
}

void ViewFixture::setFont(const QString &family, int pixels)
{
    QFont font(family);
    font.setPixelSize(pixels);
    QGuiApplication::setFont(font);
}

void ViewFixture::setDark(bool dark)
{
    QPalette palette;
    palette.setColor(QPalette::Window, dark ? QColor(30, 30, 30) : QColor(240, 240, 240));
    palette.setColor(QPalette::WindowText, dark ? Qt::white : Qt::black);
    QGuiApplication::setPalette(palette);
}

ViewFixture::ViewFixture(QVariantMap properties, QQmlEngine *engine)
    : ownEngine_(engine ? nullptr : std::make_unique<QQmlEngine>())
    , engine_(engine ? engine : ownEngine_.get())
{
    setUpApplication();
    if (!properties.contains(u"model"_s)) {
        standIn_ = made<QObject>(engine_, QUrl::fromLocalFile(TEST_FOLDER u"/StandIn.qml"_s));
        properties.insert(u"model"_s, QVariant::fromValue(standIn_.get()));
    }
    window_ = made<QQuickWindow>(engine_, BrindleApp::mainWindow(), properties);
    window_->show();
}

ViewFixture::~ViewFixture() = default;

void ViewFixture::set(const QVariantMap &properties)
{
    for (auto it = properties.begin(); it != properties.end(); ++it) {
        if (!standIn_->setProperty(it.key().toUtf8().constData(), it.value())) {
            qFatal("the stand-in has no property %s", qPrintable(it.key()));
        }
    }
}

void ViewFixture::enter(const char *phase)
{
    QMetaObject::invokeMethod(standIn_.get(), "enter", Q_ARG(QVariant, QString::fromLatin1(phase)));
}

QStringList ViewFixture::textProperties() const
{
    QStringList names;
    const QMetaObject *const type = standIn_->metaObject();
    for (int i = QObject::staticMetaObject.propertyCount(); i < type->propertyCount(); ++i) {
        if (type->property(i).typeId() == QMetaType::QString) {
            names << QString::fromLatin1(type->property(i).name());
        }
    }
    return names;
}

QStringList ViewFixture::calls() const
{
    return standIn_->property("calls").toStringList();
}

LogStore &ViewFixture::log() const
{
    return *standIn_->property("log").value<LogStore *>();
}

QQuickItem *ViewFixture::find(const QString &name) const
{
    return visibleItem(window_->contentItem(), name);
}

QString ViewFixture::text(const QString &name) const
{
    const QQuickItem *const item = find(name);
    return item ? item->property("text").toString() : QString();
}

void ViewFixture::click(const QString &name)
{
    settle();
    const QQuickItem *const item = find(name);
    QTest::mouseClick(window(), Qt::LeftButton, {},
                      item->mapToScene(item->boundingRect().center()).toPoint());
}

void ViewFixture::takeClicks() const
{
    spinUntil([this] { return !find(u"guard"_s); });
}

QQuickItem *ViewFixture::openSheet(const QString &name)
{
    QQuickItem *const content = find(u"content"_s);
    content->setProperty(qPrintable(name + u"Shown"_s), true);
    const auto *const sheet = content->findChild<QObject *>(name + u"Sheet"_s);
    spinUntil([sheet] { return sheet->property("opened").toBool(); });
    settle();
    return sheet->property("view").value<QQuickItem *>();
}

int ViewFixture::withAlert(const Alert &alert, const std::function<void(QQuickItem *)> &act)
{
    QuickDesktop desktop({});
    desktop.setWindow(window_.get());
    spinUntil([this] { return QGuiApplication::focusWindow() == window(); });
    std::optional<int> answer;
    desktop.runAlert(alert).then([&](int pressed) { answer = pressed; });
    settle();
    act(find(u"alert"_s));
    if (!answer) {
        desktop.dismissAlert();
    }
    spinUntil([&] { return answer.has_value(); });
    return *answer;
}

void ViewFixture::settle() const
{
    spinUntil([this] { return window_->isExposed(); });
    for (int frame = 0; frame < 2; ++frame) {
        bool drawn = false;
        const auto connection = QObject::connect(window(), &QQuickWindow::afterRendering, window(),
                                                 [&drawn] { drawn = true; });
        window_->update();
        spinUntil([&drawn] { return drawn; });
        QObject::disconnect(connection);
    }
}

} // namespace brindle
