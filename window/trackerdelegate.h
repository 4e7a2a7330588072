#ifndef WINDOW_PLAINTOOLTIPS_H
#define WINDOW_PLAINTOOLTIPS_H

#include <QStyledItemDelegate>

/// Shows an item's tool tip as the plain text that it is. On its own the framework takes a tip that
/// looks like rich text for rich text, and then opens the local files that the text names.
class PlainToolTips : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    bool helpEvent(QHelpEvent *pEvent, QAbstractItemView *pView, const QStyleOptionViewItem &option,
                   const QModelIndex &index) override;
};

#endif // WINDOW_PLAINTOOLTIPS_H
