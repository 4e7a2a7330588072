// Tool tips that come from the service are never rich text.

#include "plaintooltips.h"

#include <QAbstractItemView>
#include <QHelpEvent>
#include <QTextDocument>
#include <QToolTip>

bool PlainToolTips::helpEvent(QHelpEvent *pEvent, QAbstractItemView *pView,
                              const QStyleOptionViewItem &option, const QModelIndex &index)
{
    const QString strTip = index.data(Qt::ToolTipRole).toString();
    if (pEvent->type() != QEvent::ToolTip || !Qt::mightBeRichText(strTip))
        return QStyledItemDelegate::helpEvent(pEvent, pView, option, index);

    // Rich text all the same, but with every mark escaped and no blank or line break swallowed.
    const QString strHtml =
        "<span style=\"white-space:pre-wrap\">" + strTip.toHtmlEscaped() + "</span>";
    QToolTip::showText(pEvent->globalPos(), strHtml, pView, pView->visualRect(index));
    return true;
}
