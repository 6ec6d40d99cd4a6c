#pragma once

#include <QImage>
#include <QJsonObject>
#include <QSize>
#include <QString>

// Draws a stored layout off screen: the profile picture with its pastilles, at the size the layout
// was saved with ("overlaySize"). A value below 1 there falls back to `requestedSize`, and a
// requested size below 1 to 800 x 600. Returns a null image and fills `error` with
// "Overlay vide." for an empty document or "Format de configuration non reconnu." for a document
// of another type. A missing picture leaves the pastilles on a transparent background.
QImage renderOverlayImage(const QJsonObject &document, const QString &imagePath,
                          const QSize &requestedSize = QSize(), QString *error = nullptr);
