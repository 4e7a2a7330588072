// The dialog that edits one tracker's name.

#include "edittracker.h"
#include "ui_edittracker.h"

EditTracker::EditTracker(QWidget *pParent) : QDialog(pParent), ui(new Ui::EditTracker)
{
    ui->setupUi(this);
}

EditTracker::~EditTracker()
{
    delete ui;
}

void EditTracker::setName(const QString &strName)
{
    ui->trackerNameLineEdit->setText(strName);
}

QString EditTracker::getName() const
{
    return ui->trackerNameLineEdit->text();
}
