#ifndef DETAILS_EDITTRACKER_H
#define DETAILS_EDITTRACKER_H

#include <QDialog>

namespace Ui {
class EditTracker;
}

/// The small dialog in which a tracker gets its name. It sends nothing itself.
class EditTracker : public QDialog
{
    Q_OBJECT

public:
    explicit EditTracker(QWidget *pParent = nullptr);
    ~EditTracker() override;

    void setName(const QString &strName);
    /// The name as it stands in the field, accepted or not.
    QString getName() const;

private:
    Ui::EditTracker *ui = nullptr; // ours to delete; the widgets are the dialog's
};

#endif // DETAILS_EDITTRACKER_H
