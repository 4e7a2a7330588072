#ifndef APP_ACCESSIBLENAMES_H
#define APP_ACCESSIBLENAMES_H

class QWidget;

/// Gives every widget that takes the keyboard a name that a screen reader can say: the window's at
/// once, the dialogs' that it will open as soon as they are shown.
void setAccessibleNames(QWidget *pWindow);

#endif // APP_ACCESSIBLENAMES_H
