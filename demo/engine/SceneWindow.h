#pragma once

#include <QElapsedTimer>
#include <QImage>
#include <QRasterWindow>
#include <QTimer>

/// The game as the sample engine shows it: a valley seen from above on which two sides mine,
/// patrol and meet.
class SceneWindow : public QRasterWindow
{
    Q_OBJECT

public:
    explicit SceneWindow(const QString &name);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void paintGround(QPainter &painter);
    void paintCrystals(QPainter &painter, double seconds) const;
    void paintBase(QPainter &painter, const QPointF &at, const QColor &colour) const;
    void paintUnits(QPainter &painter, double seconds) const;
    void paintBar(QPainter &painter, double seconds) const;
    void paintMinimap(QPainter &painter, double seconds) const;

    QElapsedTimer running_;
    QTimer frames_;
    QImage ground_; // as large as the window, made again when that changes
};
