// Draws every icon and default controller picture of the plug-in into PNG files and writes the
// resource file that gathers them. Run at build time, so the artwork is ours and lives as code.

#include "resourcepaths.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QTextStream>

#include <functional>

namespace {

const QColor kCyan(0, 200, 230);
const QColor kBody(52, 66, 80);
const QColor kBodyEdge(120, 150, 170);
const QColor kDark(24, 32, 40);

struct Artwork
{
    QString prefix;   // resource prefix
    QString fileName; // name under that prefix
    QSize size;
    std::function<void(QPainter &, const QRectF &)> draw;
};

// The artwork found at a resource path ":/prefix/name".
Artwork artworkAt(const QString &path, QSize size,
                  std::function<void(QPainter &, const QRectF &)> draw)
{
    const int slash = path.lastIndexOf(u'/');
    return {path.mid(1, slash - 1), path.mid(slash + 1), size, std::move(draw)};
}

QPen pen(const QColor &color, qreal width)
{
    return QPen(color, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
}

void drawAxisIcon(QPainter &p, const QRectF &r)
{
    const QPointF c = r.center();
    const qreal s = r.width();
    p.setPen(pen(kCyan, s * 0.08));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(c, s * 0.38, s * 0.38);
    p.setBrush(kCyan);
    p.setPen(Qt::NoPen);
    p.drawEllipse(c, s * 0.14, s * 0.14);
    p.setPen(pen(kCyan, s * 0.06));
    p.drawLine(QPointF(c.x(), r.top() + s * 0.04), QPointF(c.x(), r.top() + s * 0.18));
    p.drawLine(QPointF(c.x(), r.bottom() - s * 0.04), QPointF(c.x(), r.bottom() - s * 0.18));
    p.drawLine(QPointF(r.left() + s * 0.04, c.y()), QPointF(r.left() + s * 0.18, c.y()));
    p.drawLine(QPointF(r.right() - s * 0.04, c.y()), QPointF(r.right() - s * 0.18, c.y()));
}

void drawButtonIcon(QPainter &p, const QRectF &r)
{
    const qreal s = r.width();
    p.setPen(pen(QColor(255, 152, 64), s * 0.08));
    p.setBrush(QColor(255, 214, 168));
    p.drawEllipse(r.center(), s * 0.36, s * 0.36);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(255, 152, 64));
    p.drawEllipse(r.center(), s * 0.14, s * 0.14);
}

void drawWarningIcon(QPainter &p, const QRectF &r)
{
    const qreal s = r.width();
    QPainterPath triangle;
    triangle.moveTo(r.center().x(), r.top() + s * 0.08);
    triangle.lineTo(r.right() - s * 0.06, r.bottom() - s * 0.1);
    triangle.lineTo(r.left() + s * 0.06, r.bottom() - s * 0.1);
    triangle.closeSubpath();
    p.setPen(pen(QColor(120, 70, 0), s * 0.05));
    p.setBrush(QColor(255, 190, 40));
    p.drawPath(triangle);
    p.setPen(pen(kDark, s * 0.1));
    p.drawLine(QPointF(r.center().x(), r.top() + s * 0.36),
               QPointF(r.center().x(), r.top() + s * 0.62));
    p.drawPoint(QPointF(r.center().x(), r.top() + s * 0.76));
}

void drawCloseIcon(QPainter &p, const QRectF &r)
{
    const qreal s = r.width();
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(200, 60, 70, 220));
    p.drawEllipse(r.center(), s * 0.44, s * 0.44);
    p.setPen(pen(Qt::white, s * 0.1));
    const qreal d = s * 0.17;
    p.drawLine(r.center() + QPointF(-d, -d), r.center() + QPointF(d, d));
    p.drawLine(r.center() + QPointF(-d, d), r.center() + QPointF(d, -d));
}

// A plug with its cord: green when linked, amber while linking, grey and crossed out when not.
void drawLinkIcon(QPainter &p, const QRectF &r, const QColor &color, bool crossed)
{
    const qreal s = r.width();
    p.setPen(pen(color, s * 0.08));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(r.center(), s * 0.4, s * 0.4);
    p.setPen(Qt::NoPen);
    p.setBrush(color);
    p.drawRoundedRect(
        QRectF(r.center().x() - s * 0.16, r.center().y() - s * 0.12, s * 0.32, s * 0.24), s * 0.05,
        s * 0.05);
    p.setPen(pen(color, s * 0.07));
    p.drawLine(QPointF(r.center().x() - s * 0.08, r.center().y() - s * 0.12),
               QPointF(r.center().x() - s * 0.08, r.center().y() - s * 0.26));
    p.drawLine(QPointF(r.center().x() + s * 0.08, r.center().y() - s * 0.12),
               QPointF(r.center().x() + s * 0.08, r.center().y() - s * 0.26));
    p.drawLine(QPointF(r.center().x(), r.center().y() + s * 0.12),
               QPointF(r.center().x(), r.center().y() + s * 0.3));
    if (crossed) {
        p.setPen(pen(QColor(220, 70, 70), s * 0.08));
        p.drawLine(r.topRight() + QPointF(-s * 0.2, s * 0.2),
                   r.bottomLeft() + QPointF(s * 0.2, -s * 0.2));
    }
}

// The console icon of the plug-in: a screen with a controller in front of it.
void drawConsoleIcon(QPainter &p, const QRectF &r)
{
    const qreal s = r.width();
    p.setPen(pen(kBodyEdge, s * 0.04));
    p.setBrush(kDark);
    p.drawRoundedRect(QRectF(r.left() + s * 0.1, r.top() + s * 0.12, s * 0.8, s * 0.5), s * 0.05,
                      s * 0.05);
    p.setPen(pen(kCyan, s * 0.04));
    p.drawLine(QPointF(r.left() + s * 0.2, r.top() + s * 0.5),
               QPointF(r.left() + s * 0.4, r.top() + s * 0.3));
    p.drawLine(QPointF(r.left() + s * 0.4, r.top() + s * 0.3),
               QPointF(r.left() + s * 0.55, r.top() + s * 0.42));
    p.setPen(pen(kBodyEdge, s * 0.03));
    p.setBrush(kBody);
    p.drawRoundedRect(QRectF(r.left() + s * 0.22, r.top() + s * 0.6, s * 0.56, s * 0.26), s * 0.12,
                      s * 0.12);
    p.setPen(Qt::NoPen);
    p.setBrush(kCyan);
    p.drawEllipse(QPointF(r.left() + s * 0.36, r.top() + s * 0.73), s * 0.05, s * 0.05);
    p.drawEllipse(QPointF(r.left() + s * 0.64, r.top() + s * 0.73), s * 0.05, s * 0.05);
}

enum class PadStyle { Offset, Symmetric, Pro, Generic };

void drawStick(QPainter &p, const QPointF &c, qreal radius)
{
    p.setPen(pen(kBodyEdge, radius * 0.12));
    p.setBrush(kDark);
    p.drawEllipse(c, radius, radius);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(70, 86, 100));
    p.drawEllipse(c, radius * 0.62, radius * 0.62);
}

void drawCross(QPainter &p, const QPointF &c, qreal arm)
{
    p.setPen(Qt::NoPen);
    p.setBrush(kDark);
    p.drawRoundedRect(QRectF(c.x() - arm, c.y() - arm / 3, 2 * arm, 2 * arm / 3), 4, 4);
    p.drawRoundedRect(QRectF(c.x() - arm / 3, c.y() - arm, 2 * arm / 3, 2 * arm), 4, 4);
}

void drawFaceButtons(QPainter &p, const QPointF &c, qreal spread, const QList<QColor> &colors)
{
    const QPointF offsets[] = {{0, -spread}, {spread, 0}, {0, spread}, {-spread, 0}};
    p.setPen(pen(kDark, spread * 0.12));
    for (int i = 0; i < 4; ++i) {
        p.setBrush(colors.value(i, kCyan));
        p.drawEllipse(c + offsets[i], spread * 0.45, spread * 0.45);
    }
}

// A controller seen from the front: body with grips, two sticks, a cross and four face buttons.
// The styles differ by where the left stick sits and by their accent colours.
void drawController(QPainter &p, const QRectF &r, PadStyle style, const QColor &accent)
{
    const qreal w = r.width();
    const qreal h = r.height();
    QPainterPath body;
    body.addRoundedRect(QRectF(r.left() + w * 0.12, r.top() + h * 0.18, w * 0.76, h * 0.54),
                        h * 0.16, h * 0.16);
    body.addEllipse(QPointF(r.left() + w * 0.22, r.top() + h * 0.62), w * 0.13, h * 0.3);
    body.addEllipse(QPointF(r.right() - w * 0.22, r.top() + h * 0.62), w * 0.13, h * 0.3);
    body.setFillRule(Qt::WindingFill);
    p.setPen(pen(accent, h * 0.025));
    p.setBrush(kBody);
    p.drawPath(body.simplified());

    const qreal stick = h * 0.085;
    const QPointF upperLeft(r.left() + w * 0.26, r.top() + h * 0.38);
    const QPointF lowerLeft(r.left() + w * 0.37, r.top() + h * 0.6);
    const QPointF lowerRight(r.right() - w * 0.37, r.top() + h * 0.6);
    const QPointF faceButtons(r.right() - w * 0.25, r.top() + h * 0.38);
    const bool symmetric = style == PadStyle::Symmetric;
    drawStick(p, symmetric ? lowerLeft : upperLeft, stick);
    drawStick(p, lowerRight, stick);
    drawCross(p, symmetric ? upperLeft : lowerLeft, h * 0.07);

    QList<QColor> colors;
    if (style == PadStyle::Offset)
        colors = {QColor(250, 200, 40), QColor(220, 60, 60), QColor(60, 180, 80),
                  QColor(50, 120, 230)};
    else if (style == PadStyle::Symmetric)
        colors = {QColor(60, 190, 160), QColor(230, 90, 100), QColor(120, 160, 230),
                  QColor(220, 120, 200)};
    else
        colors = {accent, accent, accent, accent};
    drawFaceButtons(p, faceButtons, h * 0.075, colors);

    p.setPen(Qt::NoPen);
    p.setBrush(accent);
    p.drawEllipse(QPointF(r.center().x(), r.top() + h * 0.3), h * 0.04, h * 0.04);
    if (style == PadStyle::Symmetric) // touch pad
        p.drawRoundedRect(QRectF(r.center().x() - w * 0.09, r.top() + h * 0.2, w * 0.18, h * 0.06),
                          4, 4);
}

QList<Artwork> artworks()
{
    using namespace ResourcePaths;
    const QSize icon(64, 64);
    const QSize picture(640, 400);
    const auto controller = [](PadStyle style, QColor accent) {
        return
            [style, accent](QPainter &p, const QRectF &r) { drawController(p, r, style, accent); };
    };
    return {
        artworkAt(kAxisIcon, icon, drawAxisIcon),
        artworkAt(kButtonIcon, icon, drawButtonIcon),
        artworkAt(
            kConnectedIcon, icon,
            [](QPainter &p, const QRectF &r) { drawLinkIcon(p, r, QColor(70, 200, 120), false); }),
        artworkAt(
            kBusyIcon, icon,
            [](QPainter &p, const QRectF &r) { drawLinkIcon(p, r, QColor(240, 170, 50), false); }),
        artworkAt(
            kDisconnectedIcon, icon,
            [](QPainter &p, const QRectF &r) { drawLinkIcon(p, r, QColor(140, 150, 160), true); }),
        artworkAt(kWarningIcon, icon, drawWarningIcon),
        artworkAt(kCloseIcon, icon, drawCloseIcon),
        artworkAt(kConsoleIcon, icon, drawConsoleIcon),
        artworkAt(controllerPicturePath(654), picture,
                  controller(PadStyle::Offset, QColor(80, 200, 90))),
        artworkAt(controllerPicturePath(746), picture,
                  controller(PadStyle::Offset, QColor(60, 170, 70))),
        artworkAt(controllerPicturePath(2508), picture, controller(PadStyle::Symmetric, kCyan)),
        artworkAt(controllerPicturePath(1476), picture,
                  controller(PadStyle::Symmetric, QColor(70, 130, 240))),
        artworkAt(controllerPicturePath(3302), picture,
                  controller(PadStyle::Symmetric, QColor(235, 240, 245))),
        artworkAt(controllerPicturePath(8201), picture,
                  controller(PadStyle::Pro, QColor(230, 70, 80))),
        artworkAt(kGenericControllerPicture, picture, controller(PadStyle::Generic, kCyan)),
    };
}

bool writeArtwork(const Artwork &art, const QDir &out)
{
    QImage image(art.size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    art.draw(painter, QRectF(QPointF(0, 0), QSizeF(art.size)));
    painter.end();
    const QString folder = art.prefix.mid(1);
    return out.mkpath(folder) && image.save(out.filePath(folder + '/' + art.fileName), "PNG");
}

bool writeResourceFile(const QList<Artwork> &all, const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text))
        return false;
    QTextStream xml(&file);
    xml << "<RCC>\n";
    for (const Artwork &art : all) {
        xml << "  <qresource prefix=\"" << art.prefix << "\">\n"
            << "    <file alias=\"" << art.fileName << "\">" << art.prefix.mid(1) << '/'
            << art.fileName << "</file>\n"
            << "  </qresource>\n";
    }
    xml << "</RCC>\n";
    return xml.status() == QTextStream::Ok;
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    if (argc < 2)
        return 2;
    const QDir out(QString::fromLocal8Bit(argv[1]));
    const QList<Artwork> all = artworks();
    for (const Artwork &art : all) {
        if (!writeArtwork(art, out))
            return 1;
    }
    return writeResourceFile(all, out.filePath(QStringLiteral("gamepad.qrc"))) ? 0 : 1;
}
