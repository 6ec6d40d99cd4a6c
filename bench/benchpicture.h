#pragma once

#include <QColor>
#include <QImage>
#include <QPainter>

// The controller picture the editor benchmarks put in their profiles: 1280 x 720.
inline QImage benchControllerPicture()
{
    QImage image(1280, 720, QImage::Format_RGB32);
    image.fill(QColor(0x22, 0x2b, 0x36));
    QPainter painter(&image);
    painter.setBrush(QColor(0x22, 0xd3, 0xee));
    painter.drawEllipse(QRect(340, 160, 600, 400));
    painter.end();
    return image;
}
