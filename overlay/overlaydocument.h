#pragma once

#include "profilestore.h"

#include <QJsonObject>
#include <QRect>
#include <QRectF>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QUuid>
#include <QVector>

// "overlay.json": the pastilles a user placed over a controller picture. Geometry is kept as
// fractions of the rectangle the picture occupies on screen, so a layout survives any window size
// and any background scale mode. Everything here is plain data and free functions; the widgets
// build on it.

enum class ElementKind { SingleJoy = 0, DualJoyCross = 1, Button = 2 };
enum class PublishMode { OnChange = 0, ActiveOnly = 1, Always = 2 };
// How the background picture fills the overlay; OverlayLines re-exports it.
enum class BackgroundScaleMode { Stretch = 0, Contain = 1, Cover = 2, Center = 3 };

// The device type of every gamepad input, in overlay sources and mapping bridges.
inline const QString kGamepadDeviceType = QStringLiteral("gamepade");

// The input a pastille slot listens to.
struct OverlaySource
{
    bool isJoy = true; // axis key (true) or button/gate key (false)
    QString deviceType = kGamepadDeviceType;
    qint32 deviceId = 0;
    qint32 packetId = 1;
    QString stringKey; // "joy_%1", "but_%1" or a gate key

    bool operator==(const OverlaySource &o) const;
};

struct OverlaySlot
{
    QString label; // "Joystick", "Axe X", "Axe Y" or "Bouton"
    OverlaySource source;
    // The action bound to this slot ({"ref", "action", "args"}); kept by the overlay, written to
    // the mapping document, never to "overlay.json".
    QJsonObject binding;

    bool operator==(const OverlaySlot &o) const;
};

struct OverlayNode
{
    QUuid id;
    ElementKind kind = ElementKind::SingleJoy;
    QString title;
    QRectF geometry{0.1, 0.1, 0.08, 0.08}; // fractions of the background rectangle
    QVector<OverlaySlot> sources;          // keyed by slot label, in slot order: X before Y
    PublishMode publishMode = PublishMode::OnChange;
    bool split = false; // a cross publishes its two axes separately
    bool freeAspect = false;

    bool operator==(const OverlayNode &o) const;
};

struct OverlayDocument
{
    QSize overlaySize{1, 1}; // the overlay widget's size when the layout was saved
    BackgroundScaleMode bgMode = BackgroundScaleMode::Contain;
    QVector<OverlayNode> nodes;
};

// What a reader needs to know about the overlay it loads into.
struct OverlayReadContext
{
    QSize widgetSize;  // fallback for a missing stored size
    QSize pictureSize; // background picture; empty when there is none
};

inline const QString kOverlayType = QStringLiteral("InteractiveOverlay");
constexpr int kOverlayVersion = 4;
// Limits of what a document may store: each side of "overlaySize" is read within 1..16384 pixels
// and each geometry fraction within -1000..1000, so that no placement leaves the int range.
constexpr int kMaxStoredOverlaySide = 16384;
constexpr double kMaxStoredFraction = 1000.0;

QString elementKindName(ElementKind kind);
ElementKind elementKindFromName(const QString &name, ElementKind fallback);
QString publishModeName(PublishMode mode);
PublishMode publishModeFromName(const QString &name); // unknown: OnChange
QString backgroundScaleModeName(BackgroundScaleMode mode);
BackgroundScaleMode backgroundScaleModeFromName(const QString &name); // unknown: Contain

QStringList slotLabels(ElementKind kind);
OverlaySource defaultSource(ElementKind kind);
QString defaultTitle(ElementKind kind, int number);
// Old documents stored an input by its bare number ("3"); it becomes "joy_3" for an axis and
// "but_3" for a button. Any other key is returned as it is.
QString prefixedInputKey(const QString &key, bool isJoy);
// A node with a fresh id, the kind's slots and default sources.
OverlayNode makeOverlayNode(ElementKind kind, const QString &title);
// The source of a slot, or a default source when the node has no slot of that label.
OverlaySource sourceOf(const OverlayNode &node, const QString &label);
// The keys a node listens to, joined by " / ": the line under a pastille's title.
QString sourceSummary(const OverlayNode &node);

// The rectangle the picture occupies in a widget of `widgetSize` for the given mode.
QRect backgroundRect(const QSize &widgetSize, const QSize &pictureSize, BackgroundScaleMode mode);
// Stored fractions placed in a background rectangle; empty when either is unusable. Coordinates
// and sides saturate at 2^24 pixels, beyond any widget, so that no fraction overflows a QRect.
QRect placeFractions(const QRectF &fractions, const QRect &background);
// Pixels re-expressed as fractions of a background rectangle; invalid when it is empty.
QRectF fractionsOf(const QRectF &pixels, const QRect &background);
// Rounds half away from zero, saturating at the int range.
int roundHalfAway(double value);

QJsonObject overlayDocumentToJson(const OverlayDocument &document);
// Refuses (false, `out` untouched) unless "type" is "InteractiveOverlay"; any other bad member
// falls back to its default.
bool overlayDocumentFromJson(const QJsonObject &object, const OverlayReadContext &context,
                             OverlayDocument *out);

// The profile folder's overlay file, named by the profile store.
inline const QString &kOverlayFileName = kDefaultOverlayFile;

// Writes the document indented to `fileName` inside the profile folder through the atomic writer.
// A profile folder may come from someone else: a name that would land outside it (absolute, "..",
// a symbolic link) is refused with an error.
bool writeOverlayFile(const QString &profileFolder, const QString &fileName,
                      const OverlayDocument &document, QString *error);
// The error of a writer that refuses a path outside the profile folder.
QString outsideProfileFolderError(const QString &profileFolder, const QString &fileName);
