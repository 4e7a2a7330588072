// The cells of the tracker table: tool tips that are never rich text, and heights.

#include "trackerdelegate.h"

#include <QAbstractItemView>
#include <QEvent>
#include <QHelpEvent>
#include <QIcon>
#include <QTextDocument>
#include <QToolTip>

#include <algorithm>

namespace {
/// The width in the option where the view asks for a height alone.
constexpr int NoWidth = -1;

/// Far below the width at which the framework breaks even a line without an end.
constexpr int LongestLine = 1000;

/// Whether the text is as high as every other such text: one line, and every character in the font
/// itself. One that the font lacks comes from another font, which may be higher.
bool isPlainLine(const QString &strText)
{
    const auto isPrintableAscii = [](QChar c) {
        return c >= ' ' && c <= '~';
    };
    return strText.size() <= LongestLine &&
           std::all_of(strText.cbegin(), strText.cend(), isPrintableAscii);
}
} // namespace

TrackerDelegate::TrackerDelegate(QAbstractItemView *pView) : QStyledItemDelegate(pView)
{
    pView->installEventFilter(this);
}

bool TrackerDelegate::helpEvent(QHelpEvent *pEvent, QAbstractItemView *pView,
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

QSize TrackerDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    const std::optional<CellKind> kind =
        option.rect.width() == NoWidth ? cellKind(index, option.locale) : std::nullopt;
    if (!kind)
        return QStyledItemDelegate::sizeHint(option, index);

    if (m_font != option.font || m_iconSize != option.decorationSize) {
        m_sizes.clear();
        m_font = option.font;
        m_iconSize = option.decorationSize;
    }
    const auto measured = m_sizes.find(*kind);
    if (measured != m_sizes.end())
        return measured->second;
    return m_sizes.emplace(*kind, QStyledItemDelegate::sizeHint(option, index)).first->second;
}

bool TrackerDelegate::eventFilter(QObject *pWatched, QEvent *pEvent)
{
    if (pWatched != parent())
        return QStyledItemDelegate::eventFilter(pWatched, pEvent);
    // Before the view itself measures anew.
    if (pEvent->type() == QEvent::StyleChange || pEvent->type() == QEvent::ScreenChangeInternal)
        m_sizes.clear();
    return false; // with the view as an editor the framework would close it at Tab and Return
}

std::optional<TrackerDelegate::CellKind> TrackerDelegate::cellKind(const QModelIndex &index,
                                                                   const QLocale &locale) const
{
    const QVariant text = index.data(Qt::DisplayRole);
    const QVariant icon = index.data(Qt::DecorationRole);
    const bool bPicture = icon.isValid() && icon.userType() != QMetaType::QIcon;
    if (bPicture || !isPlainLine(displayText(text, locale)) ||
        index.data(Qt::SizeHintRole).isValid() || index.data(Qt::FontRole).isValid())
        return std::nullopt;
    const qint64 iIcon = icon.isValid() ? qvariant_cast<QIcon>(icon).cacheKey() : -1;
    const bool bTickBox = !index.data(Qt::CheckStateRole).isNull();
    return CellKind(iIcon, bTickBox, !text.isNull());
}
