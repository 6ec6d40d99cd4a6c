#include "calibrationcardframe.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

CalibrationCardFrame buildCalibrationCardFrame(QWidget *owner, const QString &cardName,
                                               const QString &headerLayoutName,
                                               const QString &expandTooltip)
{
    CalibrationCardFrame frame;
    auto *rootLayout = new QVBoxLayout(owner);
    rootLayout->setObjectName(QStringLiteral("rootLayout"));
    rootLayout->setContentsMargins(0, 0, 0, 0);
    frame.card = new QFrame(owner);
    frame.card->setObjectName(cardName);
    rootLayout->addWidget(frame.card);
    auto *cardLayout = new QVBoxLayout(frame.card);
    cardLayout->setObjectName(QStringLiteral("cardLayout"));
    cardLayout->setContentsMargins(10, 8, 10, 8);
    cardLayout->setSpacing(6);

    frame.header = new QWidget(frame.card);
    frame.header->setObjectName(QStringLiteral("headerWidget"));
    frame.headerLayout = new QHBoxLayout(frame.header);
    frame.headerLayout->setObjectName(headerLayoutName);
    frame.headerLayout->setContentsMargins(0, 0, 0, 0);
    cardLayout->addWidget(frame.header);

    QToolButton *expand = frame.expandButton = new QToolButton(frame.header);
    expand->setObjectName(QStringLiteral("expandButton"));
    expand->setCheckable(true);
    expand->setArrowType(Qt::RightArrow);
    expand->setToolTip(expandTooltip);
    frame.headerLayout->addWidget(expand);

    QFrame *details = frame.details = new QFrame(frame.card);
    details->setObjectName(QStringLiteral("detailsFrame"));
    details->setVisible(false);
    frame.detailsLayout = new QVBoxLayout(details);
    frame.detailsLayout->setObjectName(QStringLiteral("detailsLayout"));
    cardLayout->addWidget(details);
    QObject::connect(expand, &QToolButton::toggled, owner, [expand, details](bool expanded) {
        expand->setArrowType(expanded ? Qt::DownArrow : Qt::RightArrow);
        details->setVisible(expanded);
    });
    return frame;
}

WearNotice addWearNotice(const CalibrationCardFrame &frame, const QString &actionText,
                         const QString &actionToolTip)
{
    WearNotice notice;
    notice.row = new QWidget(frame.card);
    notice.row->setObjectName(QStringLiteral("wearNotice"));
    notice.row->setVisible(false);
    auto *layout = new QHBoxLayout(notice.row);
    layout->setContentsMargins(0, 0, 0, 0);
    notice.label = new QLabel(notice.row);
    notice.label->setObjectName(QStringLiteral("wearLabel"));
    notice.action = new QPushButton(actionText, notice.row);
    notice.action->setObjectName(QStringLiteral("wearAction"));
    notice.action->setToolTip(actionToolTip);
    layout->addWidget(notice.label, 1);
    layout->addWidget(notice.action);
    // Between the header and the details.
    static_cast<QVBoxLayout *>(frame.card->layout())->insertWidget(1, notice.row);
    return notice;
}

void WearNotice::show(const QString &text) const
{
    if (label->text() != text)
        label->setText(text);
    if (row->isVisibleTo(row->parentWidget()) != !text.isEmpty())
        row->setVisible(!text.isEmpty());
}
