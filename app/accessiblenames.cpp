// What a screen reader calls the widgets that do not say it themselves.

#include "accessiblenames.h"

#include <QChildEvent>
#include <QLabel>
#include <QWidget>

namespace {
/// A widget and, in its window, either the label that names it or the name itself.
struct Name
{
    const char *widget;
    const char *text;
};

constexpr Name WindowLabels[] = {{"userLineEdit", "userLabel"},
                                 {"passwordLineEdit", "passwordLabel"},
                                 {"groupComboBox", "groupLabel"},
                                 {"calendarWidget", "startDateLabel"},
                                 {"weeksSpinBox", "weeksLabel"}};
constexpr Name DialogLabels[] = {{"trackerNameLineEdit", "trackerNameLabel"}};
// The calendar's label does not reach the part of it that has the keyboard.
constexpr Name WindowNames[] = {{"qt_calendar_calendarview", "Start Date"},
                                {"treeView", "Trackers"},
                                {"progressBar", "Progress"},
                                {"buttonRefresh", "Refresh"}};

template <std::size_t Size>
void setBuddies(const QWidget *pWindow, const Name (&labels)[Size])
{
    for (const Name &name : labels) {
        auto *pLabel = pWindow->findChild<QLabel *>(name.text);
        auto *pWidget = pWindow->findChild<QWidget *>(name.widget);
        if (pLabel && pWidget)
            pLabel->setBuddy(pWidget);
    }
}

class DialogNames : public QObject
{
public:
    explicit DialogNames(QWidget *pWindow) : QObject(pWindow) { pWindow->installEventFilter(this); }

protected:
    bool eventFilter(QObject *pWatched, QEvent *pEvent) override
    {
        // A child is polished when it is shown for the first time; when it is added it is not made
        // yet.
        if (pEvent->type() == QEvent::ChildPolished) {
            const auto *pChild = static_cast<QChildEvent *>(pEvent)->child();
            if (pChild->isWidgetType())
                setBuddies(static_cast<const QWidget *>(pChild), DialogLabels);
        }
        return QObject::eventFilter(pWatched, pEvent);
    }
};
} // namespace

void setAccessibleNames(QWidget *pWindow)
{
    setBuddies(pWindow, WindowLabels);
    for (const Name &name : WindowNames)
        pWindow->findChild<QWidget *>(name.widget)->setAccessibleName(name.text);
    new DialogNames(pWindow);
}
