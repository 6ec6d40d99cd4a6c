#pragma once

#include "overlaydocument.h"

#include <QFont>
#include <QImage>
#include <QJsonObject>
#include <QPixmap>
#include <QRect>
#include <QSize>
#include <QString>

// A stored size is a document's word; these keep a snapshot within 64 MB.
constexpr double kMaxRenderSide = 8192;
constexpr double kMaxRenderPixels = 16.0 * 1024 * 1024;

// Draws a stored layout off screen: the profile picture with its pastilles, at the size the layout
// was saved with ("overlaySize"). A value below 1 there falls back to `requestedSize`, and a
// requested size below 1 to 800 x 600. Returns a null image and fills `error` with
// "Overlay vide." for an empty document or "Format de configuration non reconnu." for a document
// of another type. A missing picture leaves the pastilles on a transparent background.
// The image is at most kMaxRenderSide pixels on its longest side and kMaxRenderPixels in all: a
// larger stored size is scaled down keeping its aspect ratio, with the warning "Gamepad snapshot
// size capped from WxH to wxh" on "kx.plugin.gamepad.ui".
QImage renderOverlayImage(const QJsonObject &document, const QString &imagePath,
                          const QSize &requestedSize = QSize(), QString *error = nullptr);

// The same picture made a part at a time, so that a window can turn its event loop between the
// parts: the first step reads the picture, the second the layout and draws the picture, each
// further step draws kSnapshotPastillesPerStep pastilles.
constexpr qsizetype kSnapshotPastillesPerStep = 100;
class OverlaySnapshot
{
public:
    OverlaySnapshot(const QJsonObject &document, const QString &imagePath,
                    const QSize &requestedSize = QSize());

    void step();
    bool isDone() const { return m_phase == Phase::Done; }
    // Once done: the picture, or a null image with the reason.
    QImage image() const;
    QString error() const { return m_error; }

private:
    enum class Phase { Picture, Layout, Pastilles, Done };
    void readPicture();
    void drawPicture();
    void drawPastilles();

    QJsonObject m_document;
    QString m_imagePath;
    QSize m_requestedSize;
    Phase m_phase = Phase::Picture;
    QPixmap m_picture;
    OverlayDocument m_layout;
    qsizetype m_next = 0; // the next pastille to draw
    QRect m_background;
    QFont m_font;
    QImage m_image;
    QString m_error;
};
