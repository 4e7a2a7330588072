// From the bytes that a reader sends to the trackers that are ticked.

#include "readertest.h"
#include "scriptedserver.h"

#include "window/trackertable.h"

#include <QCheckBox>
#include <QComboBox>
#include <QMetaEnum>
#include <QSerialPort>
#include <QSignalSpy>
#include <QStandardItemModel>
#include <QTreeView>

#include <algorithm>
#include <utility>

namespace {
const char *const Code = "96385074\r";
const char *const SerialNumber = "9638507";

QString logged(const QString &strText)
{
    return '"' + strText + '"';
}
} // namespace

class TestScanning : public ReaderTest
{
    Q_OBJECT

private slots:
    void lines_data();
    void lines();
    void everyWayToSplit();
    void halfALineThenNoise();
    void lineFeedBehindTheReturn();
    void lineFeedInAChunkOfItsOwn();
    void bufferHasNoLimit();
    void refusedLinesAreEmptiedToo_data();
    void refusedLinesAreEmptiedToo();
    void halfALineOutlivesClosing();
    void twiceConnectedReadsOnce();
    void bufferIsFullWhileTheSignalIsOut();
    void tickedBeforeAnyoneElseHears();

    void matches_data();
    void matches();
    void emptyTable();
    void unknownChangesNothing();
    void twiceStaysTicked();
    void checkStates_data();
    void checkStates();
    void onlyTrackersAreCompared();
    void lastMatchIsCurrent();
    void rowCountIsReadAnew_data();
    void rowCountIsReadAnew();
    void tableOfTheService();

    void errors_data();
    void errors();
    void resourceErrorOnAClosedPort();
    void errorsTwiceConnected();

private:
    void setUp() override;
    void tearDown() override;
    void send(const QByteArray &baBytes) { ReaderTest::send(m_strReader, baBytes); }
    /// As a scan brings it.
    void got(const QString &strSerialNumber);
    QStringList emitted() const;

    QString m_strReader;
    QScopedPointer<QSignalSpy> m_pEmitted;
};

void TestScanning::setUp()
{
    ReaderTest::setUp();
    m_strReader = openWindowWithReader();
    m_pEmitted.reset(new QSignalSpy(window(), SIGNAL(signalGotSN(QString))));
}

void TestScanning::tearDown()
{
    m_pEmitted.reset();
    ReaderTest::tearDown();
}

void TestScanning::got(const QString &strSerialNumber)
{
    emit window()->signalGotSN(strSerialNumber);
}

QStringList TestScanning::emitted() const
{
    QStringList serialNumbers;
    for (const QVariantList &arguments : *m_pEmitted)
        serialNumbers << arguments.first().toString();
    return serialNumbers;
}

void TestScanning::lines_data()
{
    QTest::addColumn<QByteArrayList>("chunks");
    QTest::addColumn<QStringList>("serialNumbers");
    using Chunks = QByteArrayList;
    const QStringList none;
    const QStringList one{SerialNumber};
    const QStringList two{SerialNumber, SerialNumber};
    QTest::newRow("right") << Chunks{Code} << one;
    QTest::newRow("wrong check digit") << Chunks{"96385075\r"} << none;
    QTest::newRow("the standard's 0") << Chunks{"12345670\r"} << none;
    QTest::newRow("a colon instead") << Chunks{"1234567:\r"} << QStringList{"1234567"};
    QTest::newRow("leading zeros") << Chunks{"00123457\r"} << QStringList{"0012345"};
    QTest::newRow("twice") << Chunks{Code, Code} << two;
    QTest::newRow("two in one chunk") << Chunks{QByteArray(Code) + Code} << none;
    QTest::newRow("two in one chunk, then one") << Chunks{QByteArray(Code) + Code, Code} << one;
    QTest::newRow("the second's beginning in the first's chunk")
        << Chunks{QByteArray(Code) + "963", "85074\r"} << none;
    QTest::newRow("no carriage return") << Chunks{"96385074"} << none;
    QTest::newRow("carriage return in a chunk of its own") << Chunks{"96385074", "\r"} << one;
    QTest::newRow("too short, then right") << Chunks{"9638507\r", Code} << one;
    QTest::newRow("too long, then right") << Chunks{"963850744\r", Code} << one;
    QTest::newRow("wrong, then right") << Chunks{"96385075\r", Code} << one;
    QTest::newRow("empty line, then right") << Chunks{"\r", Code} << one;
    QTest::newRow("two returns") << Chunks{"96385074\r\r", Code} << one;
    QTest::newRow("return inside") << Chunks{"9638\r5074\r", Code} << one;
    QTest::newRow("eight and two returns") << Chunks{"9638507\r\r"} << none;
    QTest::newRow("stray byte in front") << Chunks{QByteArray("\n") + Code, Code} << one;
    QTest::newRow("stray byte in a chunk of its own") << Chunks{"\n", Code, Code} << one;
    QTest::newRow("noise and a return, then right") << Chunks{"9638\r", Code} << one;
    QTest::newRow("ends at a zero byte") << Chunks{QByteArray("123\0"
                                                              "4569\r",
                                                              9)}
                                         << QStringList{"123"};
    // 15 weights times -48 are -720, which asks for a colon as zero does.
    QTest::newRow("zero bytes only")
        << Chunks{QByteArray("\0\0\0\0\0\0\0:\r", 9)} << QStringList{QString()};
    // The byte counts as -56: three times -104 asks for 12, the character four behind the eight.
    QTest::newRow("highest bit set") << Chunks{"\xc8"
                                               "000000<\r"}
                                     << QStringList{QChar(0xFFFD) + QString("000000")};
    QTest::newRow("highest bit set, as if bytes had no sign") << Chunks{"\xc8"
                                                                        "0000004\r"}
                                                              << none;
    QTest::newRow("two bytes to a letter") << Chunks{"\xc3\xa9"
                                                     "00000<\r"}
                                           << QStringList{QString::fromUtf8("é00000")};
}

void TestScanning::lines()
{
    QFETCH(QByteArrayList, chunks);
    QFETCH(QStringList, serialNumbers);
    for (const QByteArray &baChunk : chunks)
        send(baChunk);
    QCOMPARE(emitted(), serialNumbers);
    // Refused lines leave no trace.
    QStringList traces;
    for (const QString &strSerialNumber : serialNumbers)
        traces << logged(strSerialNumber);
    QCOMPARE(infoLog(), traces);
}

void TestScanning::everyWayToSplit()
{
    const QByteArray baCode = Code;
    const int iGaps = baCode.size() - 1;
    for (int iSplits = 0; iSplits < 1 << iGaps; ++iSplits) {
        int iBegin = 0;
        for (int iGap = 0; iGap < iGaps; ++iGap) {
            if ((iSplits >> iGap & 1) != 0) {
                send(baCode.mid(iBegin, iGap + 1 - iBegin));
                iBegin = iGap + 1;
                QCOMPARE(m_pEmitted->size(), iSplits);
            }
        }
        send(baCode.mid(iBegin));
        QCOMPARE(m_pEmitted->size(), iSplits + 1);
    }
    QCOMPARE(m_pEmitted->size(), 256);
}

void TestScanning::halfALineThenNoise()
{
    send("9638");
    send("\r"); // noise
    send("5074\r");
    QCOMPARE(emitted(), QStringList());
    send(Code);
    QCOMPARE(emitted(), QStringList(SerialNumber));
}

void TestScanning::lineFeedBehindTheReturn()
{
    for (int i = 0; i < 3; ++i)
        send("96385074\r\n");
    QCOMPARE(emitted(), QStringList());
    send(Code); // behind thirty bytes that are still there
    QCOMPARE(emitted(), QStringList());
    send(Code);
    QCOMPARE(emitted(), QStringList(SerialNumber));
}

void TestScanning::lineFeedInAChunkOfItsOwn()
{
    // The line is read, and its line feed spoils the next one.
    send(Code);
    send("\n");
    send(Code);
    send("\n");
    send("\r");
    send(Code);
    QCOMPARE(emitted(), QStringList({SerialNumber, SerialNumber}));
}

void TestScanning::bufferHasNoLimit()
{
    const QByteArray baNoise(1000, '9');
    for (int i = 0; i < 300; ++i)
        send(baNoise);
    QVERIFY(port()->isOpen());
    send(Code); // all of it is one line
    QCOMPARE(emitted(), QStringList());
    send(Code);
    QCOMPARE(emitted(), QStringList(SerialNumber));
}

void TestScanning::refusedLinesAreEmptiedToo_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("length") << QByteArray("963\r");
    QTest::newRow("check character") << QByteArray("96385075\r");
    QTest::newRow("accepted") << QByteArray(Code);
}

void TestScanning::refusedLinesAreEmptiedToo()
{
    QFETCH(QByteArray, line);
    send(line);
    m_pEmitted->clear();
    send("96385074");
    QCOMPARE(emitted(), QStringList());
    send("\r");
    QCOMPARE(emitted(), QStringList(SerialNumber));
}

void TestScanning::halfALineOutlivesClosing()
{
    send("96385");
    clickBox();
    clickBox();
    send("074\r");
    QCOMPARE(emitted(), QStringList(SerialNumber));
}

void TestScanning::twiceConnectedReadsOnce()
{
    for (int i = 0; i < 4; ++i)
        clickBox();
    // A second call that did more than read nothing would lose the first half.
    clearInfoLog();
    send("9638");
    send("5074\r");
    QCOMPARE(emitted(), QStringList(SerialNumber));
    QCOMPARE(infoLog(), QStringList(logged(SerialNumber)));
    QCOMPARE(takeConnections("readyRead()", "onBarCode()"), 3);
}

void TestScanning::bufferIsFullWhileTheSignalIsOut()
{
    // The chunk decides: asked again while it still works on a line, the window reads nothing, and
    // the line is not accepted a second time.
    int iCalls = 0;
    connect(window(), &MainWindow::signalGotSN, this, [&] {
        ++iCalls;
        if (iCalls == 1)
            QMetaObject::invokeMethod(window(), "onBarCode", Qt::DirectConnection);
    });
    send(Code);
    QCOMPARE(iCalls, 1);
    send(Code);
    QCOMPARE(iCalls, 2);
}

void TestScanning::tickedBeforeAnyoneElseHears()
{
    fillTable({SerialNumber});
    QList<int> ticked;
    connect(window(), &MainWindow::signalGotSN, this, [&] { ticked = tickedRows(); });
    send(Code);
    QCOMPARE(ticked, QList<int>{0});
}

void TestScanning::matches_data()
{
    QTest::addColumn<QString>("scanned");
    QTest::addColumn<QStringList>("rows");
    QTest::addColumn<QList<int>>("ticked");
    using Rows = QList<int>;
    const QStringList rows{"1234567", "9638507", "1000003"};
    QTest::newRow("first") << "1234567" << rows << Rows{0};
    QTest::newRow("in the middle") << "9638507" << rows << Rows{1};
    QTest::newRow("last") << "1000003" << rows << Rows{2};
    QTest::newRow("unknown") << "7777777" << rows << Rows{};
    QTest::newRow("beginning only") << "1000003" << QStringList{"100000", "10000034"} << Rows{};
    QTest::newRow("zeros in front of the scanned one")
        << "0012345" << QStringList{"12345"} << Rows{0};
    QTest::newRow("zeros in front of the shown one")
        << "1234567" << QStringList{"001234567"} << Rows{0};
    QTest::newRow("twice in the table")
        << "9638507" << QStringList{"9638507", "1", "9638507", "09638507"} << Rows{0, 2, 3};
    QTest::newRow("no numbers, equal") << "abcdefg" << QStringList{"abcdefg"} << Rows{0};
    QTest::newRow("whatever is no number counts as 0")
        << "abcdefg" << QStringList{"0", "xyz", "", "1", "000", "12a"} << Rows{0, 1, 2, 4, 5};
    QTest::newRow("0 finds what is no number")
        << "0000000" << QStringList{"xyz", "0", "1"} << Rows{0, 1};
    QTest::newRow("empty counts as 0") << "" << QStringList{"0", "1"} << Rows{0};
    QTest::newRow("negative") << "-000012" << QStringList{"12", "-12"} << Rows{1};
    QTest::newRow("shown one beyond 32 bits")
        << "0000001" << QStringList{"4294967297", "1"} << Rows{1};
    QTest::newRow("equal beyond 32 bits")
        << "4294967297" << QStringList{"4294967297", "1"} << Rows{0};
    QTest::newRow("shown one beyond 64 bits")
        << "0000000" << QStringList{"18446744073709551616"} << Rows{0};
    QTest::newRow("decimal only") << "0000016" << QStringList{"0x10", "16"} << Rows{1};
}

void TestScanning::matches()
{
    QFETCH(QString, scanned);
    QFETCH(QStringList, rows);
    QFETCH(QList<int>, ticked);
    fillTable(rows);
    got(scanned);
    QCOMPARE(tickedRows(), ticked);
    const QModelIndex current = view()->currentIndex();
    QCOMPARE(current.row(), ticked.isEmpty() ? -1 : ticked.last());
    if (current.isValid())
        QCOMPARE(current, model()->index(ticked.last(), SerialNumberColumn));
    QCOMPARE(infoLog(), QStringList(logged(scanned)));
}

void TestScanning::emptyTable()
{
    got(SerialNumber);
    got("abc");
    QCOMPARE(infoLog(), QStringList({logged(SerialNumber), "\"abc\""}));
    QCOMPARE(model()->rowCount(), 0);
}

void TestScanning::unknownChangesNothing()
{
    fillTable({"1", "2", "3"});
    view()->setCurrentIndex(model()->index(1, 0));
    model()->item(2)->setCheckState(Qt::Checked);
    QSignalSpy changed(model(), SIGNAL(dataChanged(QModelIndex,QModelIndex,QVector<int>)));
    send(Code);
    QCOMPARE(emitted(), QStringList(SerialNumber));
    QCOMPARE(tickedRows(), QList<int>{2});
    QCOMPARE(view()->currentIndex().row(), 1);
    QCOMPARE(changed.size(), 0);
}

void TestScanning::twiceStaysTicked()
{
    fillTable({SerialNumber, "1"});
    for (int i = 0; i < 3; ++i) {
        send(Code);
        QCOMPARE(tickedRows(), QList<int>{0});
    }
    // The one ticked by hand stays so, too.
    model()->item(1)->setCheckState(Qt::Checked);
    send(Code);
    QCOMPARE(tickedRows(), QList<int>({0, 1}));
}

void TestScanning::checkStates_data()
{
    QTest::addColumn<QVariant>("before");
    QTest::addColumn<bool>("enabled");
    QTest::newRow("not ticked") << QVariant(int(Qt::Unchecked)) << true;
    QTest::newRow("half ticked") << QVariant(int(Qt::PartiallyChecked)) << true;
    QTest::newRow("no state") << QVariant() << true;
    QTest::newRow("disabled") << QVariant(int(Qt::Unchecked)) << false;
}

void TestScanning::checkStates()
{
    QFETCH(QVariant, before);
    QFETCH(bool, enabled);
    fillTable({SerialNumber});
    model()->item(0)->setData(before, Qt::CheckStateRole);
    model()->item(0)->setEnabled(enabled);
    send(Code);
    QCOMPARE(model()->item(0)->data(Qt::CheckStateRole), QVariant(2));
    // A view takes no disabled row for its current one.
    QCOMPARE(view()->currentIndex().row(), enabled ? 0 : -1);
    QCOMPARE(model()->item(0)->isEnabled(), enabled);
}

void TestScanning::onlyTrackersAreCompared()
{
    fillTable({"1"});
    model()->setItem(0, TrackerNameColumn, new QStandardItem(SerialNumber));
    model()->item(0)->appendRow(new QStandardItem(SerialNumber));
    model()->item(0)->setData(SerialNumber, Qt::UserRole);
    QSignalSpy changed(model(), SIGNAL(dataChanged(QModelIndex,QModelIndex,QVector<int>)));
    send(Code);
    QCOMPARE(changed.size(), 0);
    QVERIFY(!view()->currentIndex().isValid());
}

void TestScanning::lastMatchIsCurrent()
{
    fillTable({SerialNumber, "1", SerialNumber});
    QList<int> current;
    connect(view()->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [&](const QModelIndex &index) { current << index.row(); });
    // Each becomes current before it is ticked.
    QList<int> currentWhenTicked;
    connect(model(), &QStandardItemModel::itemChanged, this,
            [&] { currentWhenTicked << view()->currentIndex().row(); });
    send(Code);
    QCOMPARE(current, QList<int>({0, 2}));
    QCOMPARE(currentWhenTicked, QList<int>({0, 2}));
}

void TestScanning::rowCountIsReadAnew_data()
{
    QTest::addColumn<int>("rowsAfterTheFirstMatch");
    QTest::addColumn<QList<int>>("ticked");
    QTest::newRow("fewer") << 2 << QList<int>{0};
    QTest::newRow("more") << 5 << QList<int>({0, 2, 3, 4});
}

void TestScanning::rowCountIsReadAnew()
{
    QFETCH(int, rowsAfterTheFirstMatch);
    QFETCH(QList<int>, ticked);
    fillTable({SerialNumber, "1", SerialNumber});
    bool bDone = false;
    connect(model(), &QStandardItemModel::itemChanged, this, [&] {
        if (!std::exchange(bDone, true)) {
            model()->setRowCount(std::min(rowsAfterTheFirstMatch, 3));
            while (model()->rowCount() < rowsAfterTheFirstMatch)
                model()->appendRow(new QStandardItem(SerialNumber));
        }
    });
    send(Code);
    QCOMPARE(model()->rowCount(), rowsAfterTheFirstMatch);
    QCOMPARE(tickedRows(), ticked);
}

void TestScanning::tableOfTheService()
{
    ScriptedServer server;
    setServicePort(server.serverPort());
    server.answer("/bsGetGroupTrackers.php",
                  R"({"trackers":[{"deviceSn":"1234567"},{"deviceSn":"12345","state":null},)"
                  R"({"deviceSn":"9638507","activations":[{"id":"1"}]}]})");
    window()->show();
    childOf<QComboBox>(window(), "groupComboBox")->addItem("12 - Club A", "12");
    QTRY_COMPARE(model()->rowCount(), 3);
    send(Code);
    QCOMPARE(tickedRows(), QList<int>{2});
    send("00123457\r"); // the operator could not tick this one by hand
    QCOMPARE(tickedRows(), QList<int>({1, 2}));
    QCOMPARE(view()->currentIndex().row(), 2);
    QCOMPARE(tickedSerialNumbers(model()), QStringList({"12345", "9638507"}));
}

void TestScanning::errors_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<QString>("name");
    const auto names = QMetaEnum::fromType<QSerialPort::SerialPortError>();
    for (int i = 0; i < names.keyCount(); ++i)
        QTest::newRow(names.key(i)) << names.value(i) << QString(names.key(i));
    QTest::newRow("a resource error by its number") << ResourceErrorNumber << "ResourceError";
}

void TestScanning::errors()
{
    QFETCH(int, error);
    QFETCH(QString, name);
    report(QSerialPort::SerialPortError(error));
    QCOMPARE(infoLog(), QStringList({"onBarCodeError", name}));
    const bool bUnplugged = error == QSerialPort::ResourceError;
    QCOMPARE(port()->isOpen(), !bUnplugged);
    QCOMPARE(box()->isChecked(), !bUnplugged);
    if (!bUnplugged) {
        send(Code);
        QCOMPARE(emitted(), QStringList(SerialNumber));
    }
}

void TestScanning::resourceErrorOnAClosedPort()
{
    port()->close();
    QVERIFY(box()->isChecked());
    clearInfoLog();
    report(QSerialPort::ResourceError);
    // Closing a closed port would be another error.
    QCOMPARE(infoLog(), QStringList({"onBarCodeError", "ResourceError"}));
    QVERIFY(!box()->isChecked());
}

void TestScanning::errorsTwiceConnected()
{
    clickBox();
    clickBox();
    clearInfoLog();
    report(QSerialPort::ResourceError);
    QCOMPARE(infoLog(),
             QStringList({"onBarCodeError", "ResourceError", "onBarCodeError", "ResourceError"}));
    QVERIFY(!port()->isOpen());
    QVERIFY(!box()->isChecked());
}

VELTRANO_TEST_MAIN(TestScanning)
#include "tst_scanning.moc"
