#ifndef SOAK_PROBE_H
#define SOAK_PROBE_H

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonObject>
#include <QLocalServer>
#include <QSet>
#include <QStringList>
#include <QTimer>

class QCoreApplication;
class QLocalSocket;
class QMenu;
class QMessageBox;
class QNetworkAccessManager;

/// Works the window from inside its process. A command is a line of words parted by tabs; it is
/// over when the program has come to rest: no reply under way, no box, menu or dialog open. Lives
/// on the GUI thread, so that what it says is one moment's truth.
class Probe : public QObject
{
    Q_OBJECT

public:
    explicit Probe(QCoreApplication *pApplication);

protected:
    bool eventFilter(QObject *pWatched, QEvent *pEvent) override;

private slots:
    void start();
    void onConnection();
    void onInput();
    void act();
    void answer();
    void look();
    void onLate();

private:
    void listen();
    void nextLine();
    void obey(const QStringList &words);
    bool perform();
    void click(const QString &strButton);
    void choose(int iGroup);
    bool tick(int iRow);
    bool remove(int iPeriod);
    bool openDetails(int iRow);
    void answerMenu(QMenu *pMenu);
    void answerBox(const QMessageBox *pBox);
    void answerDetails(QWidget *pDialog);
    bool repliesUnderWay();
    void finish(const char *pOutcome);
    QJsonObject state() const;
    void say(const QJsonObject &object);

    QString word(int iWord) const { return m_words.value(iWord); }

    QWidget *m_pWindow = nullptr;
    QNetworkAccessManager *m_pManager = nullptr;
    QSet<QObject *> m_young; // children of the manager that were not seen finished
    QLocalServer m_server;
    QLocalSocket *m_pSocket = nullptr;
    QStringList m_script; // instead of the socket: nothing is read or written on the way
    QTimer m_limit;       // of a script's step
    QStringList m_words;  // of the command that is under way
    QJsonArray m_boxes;   // the titles of what the command opened
    QElapsedTimer m_clicked;
    bool m_bActed = false; // and is waiting for the program to come to rest
    bool m_bDone = false;
};

#endif // SOAK_PROBE_H
