// The keyboard around the window: where it begins, the way of Tab, and two keys of our own.

#include "keyboard.h"

#include "window/trackertable.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QTreeView>

namespace {
/// As the menu key does it: at the place that the widget itself names, which for a table is its
/// current row.
void openContextMenu(QWidget *pWidget)
{
    const QPoint place = pWidget->inputMethodQuery(Qt::ImCursorRectangle).toRect().center();
    QContextMenuEvent event(QContextMenuEvent::Keyboard, place, pWidget->mapToGlobal(place));
    QCoreApplication::sendEvent(pWidget, &event);
}
} // namespace

void setStartFocus(QWidget *pWindow)
{
    auto *pUser = pWindow->findChild<QLineEdit *>("userLineEdit");
    auto *pPassword = pWindow->findChild<QLineEdit *>("passwordLineEdit");
    (pUser->text().isEmpty() ? pUser : pPassword)->setFocus();
}

void completeTabOrder(QWidget *pWindow)
{
    // Between the two stands the selection buttons' box. It hands the keyboard on to its first
    // button, and so Tab jumps there over all that comes before that button.
    QWidget::setTabOrder(pWindow->findChild<QWidget *>("weeksSpinBox"),
                         pWindow->findChild<QWidget *>("buttonRefresh"));
}

OperatorKeys::OperatorKeys(QTreeView *pTable) : QObject(pTable), m_pTable(pTable)
{
    qApp->installEventFilter(this);
}

bool OperatorKeys::eventFilter(QObject *pWatched, QEvent *pEvent)
{
    // A key comes by once more for each widget that passes it on, and for the window before.
    if (pEvent->type() != QEvent::KeyPress || pWatched != QApplication::focusWidget())
        return false;
    const auto *pKey = static_cast<QKeyEvent *>(pEvent);
    if (pKey->key() == Qt::Key_F10 && pKey->modifiers() == Qt::ShiftModifier) {
        openContextMenu(QApplication::focusWidget());
        return true;
    }
    return pWatched == m_pTable && pKey->key() == Qt::Key_F2 &&
           pKey->modifiers() == Qt::NoModifier && openDetails();
}

bool OperatorKeys::openDetails()
{
    const QModelIndex index = m_pTable->currentIndex();
    // The other columns are edited in place, and a period has no details.
    if (!index.isValid() || index.parent().isValid() || index.column() != SerialNumberColumn)
        return false;
    emit m_pTable->doubleClicked(index);
    return true;
}
