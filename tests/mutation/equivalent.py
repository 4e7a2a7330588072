"""Faults that no test can find, each with the reason: the source, its lines, and the same lines
with the fault, each as one line."""

from __future__ import annotations

EQUIVALENT: dict[tuple[str, str, str], str] = {
    ("window/trackerrules.h",
     "enum class Light { Green, Yellow, Red };",
     "enum class Light { Yellow, Green, Red };"):
        "The lights are told apart by their names; nothing uses their order or their numbers.",
    ("window/login.cpp",
     "connect(pReply, SIGNAL(finished()), this, SLOT(onLoginResult()));"
     " ui->loginButton->setEnabled(false);",
     "ui->loginButton->setEnabled(false);"
     " connect(pReply, SIGNAL(finished()), this, SLOT(onLoginResult()));"):
        "No reply finishes before the slot has returned to the event loop.",
    ("window/trackers.cpp",
     "qInfo() << strBalance; ui->accountBalance->setText(strBalance);",
     "ui->accountBalance->setText(strBalance); qInfo() << strBalance;"):
        "The text is painted by a later event, and setting it logs nothing.",
    ("window/mainwindow.cpp",
     "ui->loginButton->setAutoDefault(true);"
     " connect(ui->passwordLineEdit, SIGNAL(returnPressed()), this, SLOT(onLoginReturnPressed()));",
     "connect(ui->passwordLineEdit, SIGNAL(returnPressed()), this, SLOT(onLoginReturnPressed()));"
     " ui->loginButton->setAutoDefault(true);"):
        "No key can be pressed between the two, and the form has made the button so already.",
}
