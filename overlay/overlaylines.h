#pragma once

#include "overlaydocument.h"

#include <QPixmap>
#include <QRect>
#include <QWidget>

class QLabel;

// The base of the overlay: it owns the controller picture and how the picture fills the widget,
// and paints it under the pastilles. Pastille geometry is relative to backgroundRect().
class OverlayLines : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(QPixmap backgroundPixmap READ backgroundPixmap WRITE setBackgroundPixmap NOTIFY
                   backgroundPixmapChanged)
    Q_PROPERTY(OverlayLines::BackgroundScaleMode backgroundScaleMode READ backgroundScaleMode WRITE
                   setBackgroundScaleMode NOTIFY backgroundScaleModeChanged)

public:
    enum BackgroundScaleMode { Stretch = 0, Contain = 1, Cover = 2, Center = 3 };
    Q_ENUM(BackgroundScaleMode)
    // The document's scale modes, re-declared where Qt's meta-object system can name them; the
    // conversions below are casts.
    static_assert(Stretch == int(::BackgroundScaleMode::Stretch) &&
                      Contain == int(::BackgroundScaleMode::Contain) &&
                      Cover == int(::BackgroundScaleMode::Cover) &&
                      Center == int(::BackgroundScaleMode::Center),
                  "BackgroundScaleMode values follow the overlay document's");

    explicit OverlayLines(QWidget *parent = nullptr);

    QPixmap backgroundPixmap() const { return m_backgroundPixmap; }
    void setBackgroundPixmap(const QPixmap &pixmap);
    // Shows the picture of a file, decoded no larger than a screen can show it; one that cannot
    // be shown leaves the background empty with a message saying so. An empty path shows none.
    // The picture's size is known at once; a picture not decoded before shows when a worker has
    // decoded it, the window answering meanwhile.
    void setBackgroundPicture(const QString &path);
    // Blocks until the picture asked for last shows (or says it cannot).
    void waitForPicture();
    // The picture's own size, which pastille geometry follows even when it was decoded smaller.
    QSize pictureSize() const { return m_pictureSize; }
    // What the message over an empty background says; empty when hidden.
    QString pictureMessage() const;
    BackgroundScaleMode backgroundScaleMode() const { return m_backgroundScaleMode; }
    void setBackgroundScaleMode(BackgroundScaleMode mode);

    // The rectangle the picture occupies in the widget at its current size.
    QRect backgroundRect() const;

    static ::BackgroundScaleMode toDocumentMode(BackgroundScaleMode mode)
    {
        return static_cast<::BackgroundScaleMode>(mode);
    }
    static BackgroundScaleMode fromDocumentMode(::BackgroundScaleMode mode)
    {
        return static_cast<BackgroundScaleMode>(mode);
    }

signals:
    void backgroundPixmapChanged();
    void backgroundScaleModeChanged();

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void showPicture(const QPixmap &pixmap, const QSize &size);
    void showDecoded(const QString &path, const QImage &image, const QSize &size);
    void placeMessage();

    QPixmap m_backgroundPixmap;
    QSize m_pictureSize;
    QString m_pendingPicture; // the decode whose picture this widget waits for
    QLabel *m_message = nullptr;
    BackgroundScaleMode m_backgroundScaleMode = Contain;
};
