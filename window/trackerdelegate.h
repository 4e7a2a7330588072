#ifndef WINDOW_TRACKERDELEGATE_H
#define WINDOW_TRACKERDELEGATE_H

#include <QFont>
#include <QSize>
#include <QStyledItemDelegate>

#include <map>
#include <optional>
#include <tuple>

/// What the table's cells have beyond the framework's own delegate: tool tips that stay plain, and
/// heights that are not measured again for every row.
class TrackerDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    /// For this view only, which owns the delegate.
    explicit TrackerDelegate(QAbstractItemView *pView);

    /// Shows an item's tool tip as the plain text that it is. On its own the framework takes a tip
    /// that looks like rich text for rich text, and then opens the local files that the text names.
    bool helpEvent(QHelpEvent *pEvent, QAbstractItemView *pView, const QStyleOptionViewItem &option,
                   const QModelIndex &index) override;

    /// Where the view asks for a height alone, one of the cells that can't differ in it is measured
    /// for all of them; the width is that one's. On its way to a far row the view asks for the
    /// height of each row above: 10,000 rows took a sixth of a second.
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

    bool eventFilter(QObject *pWatched, QEvent *pEvent) override;

private:
    /// The icon's key, or -1; whether there is a box to tick; whether there is a text.
    using CellKind = std::tuple<qint64, bool, bool>;

    /// Nothing for a cell that has to be measured itself.
    std::optional<CellKind> cellKind(const QModelIndex &index, const QLocale &locale) const;

    mutable std::map<CellKind, QSize> m_sizes;
    // What the view had set when they were measured.
    mutable QFont m_font;
    mutable QSize m_iconSize;
};

#endif // WINDOW_TRACKERDELEGATE_H
