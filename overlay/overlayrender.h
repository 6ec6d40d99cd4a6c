#pragma once

#include <QImage>
#include <QJsonObject>
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
