// emulate-reader: runs a program with a barcode reader that is not there.
//
//     emulate-reader PROGRAM [ARGUMENT...]
//
// A reader is plugged in before the program starts. Commands are read from the standard input, one
// a line; each is answered on the standard output by the same line after "done ", or by "unknown ":
//
//     scan 96385074   sends the text and a carriage return, done when the program has read them
//     send 96385074   the same without the carriage return
//     unplug          hangs up the line and takes the reader off the list
//     plug            the same reader comes back
//
// The end of the input ends the program. Its exit code, or -1 if a signal ended it, is this one's.
// The program's output goes where this one's goes.

#include "emulatedreader.h"
#include "qtversions.h"

#include <QCoreApplication>
#include <QProcess>
#include <QSocketNotifier>

#include <array>
#include <csignal>
#include <cstdio>
#include <sys/prctl.h>
#include <unistd.h>

namespace {
/// Lets the program end with this process, however this one ends.
void prepareProgram()
{
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    std::signal(SIGINT, SIG_DFL);
}

class Commands : public QObject
{
    Q_OBJECT

public:
    explicit Commands(EmulatedPorts *pPorts) :
        m_pPorts(pPorts), m_strReader(pPorts->plug()), m_input(STDIN_FILENO, QSocketNotifier::Read)
    {
        connect(&m_input, SIGNAL(activated(int)), this, SLOT(readInput()));
    }

signals:
    void ended();

private slots:
    void readInput()
    {
        std::array<char, 1024> bytes{};
        const ssize_t iRead = read(STDIN_FILENO, bytes.data(), bytes.size());
        if (iRead <= 0) {
            m_input.setEnabled(false);
            emit ended();
            return;
        }
        m_baInput.append(bytes.data(), int(iRead));
        for (int iEnd = m_baInput.indexOf('\n'); iEnd >= 0; iEnd = m_baInput.indexOf('\n')) {
            const QByteArray baLine = m_baInput.left(iEnd);
            m_baInput.remove(0, iEnd + 1);
            std::printf("%s %s\n", obey(baLine) ? "done" : "unknown", baLine.constData());
            std::fflush(stdout);
        }
    }

private:
    bool obey(const QByteArray &baLine)
    {
        constexpr int WordLength = 5;
        const QByteArray baText = baLine.mid(WordLength);
        if (baLine == "plug" && !m_bPlugged)
            m_pPorts->plugAgain(m_strReader);
        else if (baLine == "unplug" && m_bPlugged)
            m_pPorts->unplug(m_strReader);
        else if (baLine.startsWith("scan ") && m_bPlugged)
            m_pPorts->send(m_strReader, baText + '\r');
        else if (baLine.startsWith("send ") && m_bPlugged)
            m_pPorts->send(m_strReader, baText);
        else
            return false;
        m_bPlugged = baLine != "unplug";
        if (baLine.startsWith('s')) // or the next bytes might come together with these
            m_pPorts->waitUntilRead(m_strReader);
        return true;
    }

    EmulatedPorts *m_pPorts;
    QString m_strReader;
    bool m_bPlugged = true;
    QSocketNotifier m_input;
    QByteArray m_baInput;
};
} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.isEmpty()) {
        std::fprintf(stderr, "usage: emulate-reader PROGRAM [ARGUMENT...]\n");
        return 2;
    }
    std::signal(SIGINT, SIG_IGN); // from a terminal the program gets it too, and its end is ours

    EmulatedPorts ports;
    Commands commands(&ports);
    PreparedProcess program(prepareProgram);
    program.setProcessChannelMode(QProcess::ForwardedChannels);
    QObject::connect(&commands, SIGNAL(ended()), &program, SLOT(terminate()));
    QObject::connect(&program, SIGNAL(finished(int,QProcess::ExitStatus)), qApp, SLOT(quit()));
    program.start("umockdev-wrapper", arguments);
    if (!program.waitForStarted())
        return 2;
    QCoreApplication::exec();
    return program.exitStatus() == QProcess::NormalExit ? program.exitCode() : -1;
}

#include "reader_emulator.moc"
