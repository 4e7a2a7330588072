#ifndef APP_KEYBOARD_H
#define APP_KEYBOARD_H

#include <QObject>

class QTreeView;
class QWidget;

// What an operator without a mouse needs around the window; it finds the widgets by their names.

/// Puts the keyboard into the first field that is still to be filled. Call it when the window is
/// shown.
void setStartFocus(QWidget *pWindow);

/// Lets Tab reach the refresh button, which Shift+Tab reaches anyway. The rest of the order stays.
void completeTabOrder(QWidget *pWindow);

/// Two keys that the framework has no use for: F2 on a serial number opens the tracker's details as
/// a double click does, and Shift+F10 opens the menu that the menu key opens, in every window.
class OperatorKeys : public QObject
{
    Q_OBJECT

public:
    /// Belongs to the table and watches the application's keys from here on.
    explicit OperatorKeys(QTreeView *pTable);

protected:
    bool eventFilter(QObject *pWatched, QEvent *pEvent) override;

private:
    bool openDetails();

    QTreeView *m_pTable; // the parent
};

#endif // APP_KEYBOARD_H
