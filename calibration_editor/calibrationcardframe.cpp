#include "calibrationcardframe.h"

#include <QFrame>
#include <QHBoxLayout>
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
