// Tells the journey player what a running client shows, and where: loaded into the process from
// outside, it answers each line on a local socket with one line of JSON. It only looks; every click
// and every key comes from the X server.

#include "qtversions.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QElapsedTimer>
#include <QHash>
#include <QHeaderView>
#include <QIcon>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QLocalServer>
#include <QLocalSocket>
#include <QMenu>
#include <QSet>
#include <QStyle>
#include <QStyledItemDelegate>
#include <QTimer>
#include <QTreeView>

#include <algorithm>

namespace {
// A view lays out in a timer of its own, and a repaint may wait for 5 ms: only a window in which
// nothing was laid out or painted for a while is what the operator goes on looking at.
constexpr int QuietTime = 25;     // ms
constexpr int LongestWait = 1000; // ms, for a window that never comes to rest
constexpr int LookInterval = 5;   // ms
constexpr int IconSide = 32;
constexpr int ReportedRoles = 2; // from Qt::UserRole + 1 on

/// Makes a protected member nameable: called through a pointer, it works on any delegate.
struct DelegateMembers : QStyledItemDelegate
{
    using QStyledItemDelegate::initStyleOption;
};

/// What a widget's properties are called in the report. A line edit's own text is not among them:
/// of a password only what is shown leaves the process.
const QHash<QByteArray, QString> &reportedProperties()
{
    static const QHash<QByteArray, QString> names{
        {"checked", "checked"},   {"currentIndex", "index"}, {"echoMode", "echo"},
        {"icon", "icon"},         {"maximum", "maximum"},    {"minimum", "minimum"},
        {"selectedDate", "date"}, {"text", "text"},          {"textFormat", "format"},
        {"toolTip", "tip"},       {"value", "value"}};
    return names;
}

/// In the screen's own pixels, of which a scaled window has more than its widgets know of.
QJsonArray pixels(const QWidget *pWidget, const QRect &rect)
{
    const int iScale = pWidget->devicePixelRatio();
    return {rect.x() * iScale, rect.y() * iScale, rect.width() * iScale, rect.height() * iScale};
}

QJsonArray pixels(const QWidget *pWidget, const QSize &size)
{
    const int iScale = pWidget->devicePixelRatio();
    return {size.width() * iScale, size.height() * iScale};
}

QJsonArray screenRect(const QWidget *pWidget, const QRect &rect)
{
    return pixels(pWidget, QRect(pWidget->mapToGlobal(rect.topLeft()), rect.size()));
}

/// Null for what is scrolled out of sight or folded away.
QJsonValue shownRect(const QWidget *pWidget, const QRect &rect)
{
    const QRect shown = rect & pWidget->rect();
    if (shown.isEmpty())
        return QJsonValue::Null;
    return screenRect(pWidget, shown);
}

/// What the widgets around it leave of it. Its visible region would be without its own children.
QRect unclippedPart(const QWidget *pWidget)
{
    QRect part = pWidget->rect();
    for (const QWidget *pAround = pWidget; !pAround->isWindow();) {
        part.translate(pAround->pos());
        pAround = pAround->parentWidget();
        part &= pAround->rect();
    }
    return part.translated(-pWidget->mapTo(pWidget->window(), QPoint()));
}

/// The name of the compiled-in picture that an icon shows, found by its pixels.
QString iconName(const QIcon &icon)
{
    static QHash<qint64, QString> known;
    const auto found = known.constFind(icon.cacheKey());
    if (found != known.constEnd())
        return *found;

    const QImage image = icon.pixmap(IconSide).toImage();
    QString strName;
    const QFileInfoList files = QDir(":/").entryInfoList({"*.png"});
    for (const QFileInfo &file : files) {
        if (QIcon(file.filePath()).pixmap(IconSide).toImage() == image)
            strName = file.baseName();
    }
    return known[icon.cacheKey()] = strName;
}

QStyleOptionViewItem cellOption(const QAbstractItemView *pView, const QModelIndex &index)
{
    QStyleOptionViewItem option = viewOptions(pView);
    option.rect = pView->visualRect(index);
    option.widget = pView;
    const auto *pDelegate = qobject_cast<const QStyledItemDelegate *>(pView->itemDelegate());
    if (pDelegate != nullptr)
        (pDelegate->*(&DelegateMembers::initStyleOption))(&option, index);
    return option;
}

QJsonObject cellObject(const QAbstractItemView *pView, const QModelIndex &index)
{
    QJsonObject cell{{"text", index.data().toString()},
                     {"rect", shownRect(pView->viewport(), pView->visualRect(index))}};
    const QVariant check = index.data(Qt::CheckStateRole);
    if (check.isValid())
        cell["check"] = check.toInt();
    const QVariant foreground = index.data(Qt::ForegroundRole);
    if (foreground.isValid())
        cell["colour"] = foreground.value<QBrush>().color().name();
    const auto icon = index.data(Qt::DecorationRole).value<QIcon>();
    if (!icon.isNull())
        cell["icon"] = iconName(icon);
    return cell;
}

/// The parts of a row that an operator aims at; they all lie in its first cell.
void addParts(QJsonObject *pRow, const QAbstractItemView *pView, const QModelIndex &index)
{
    const QStyleOptionViewItem option = cellOption(pView, index);
    if (option.rect.isEmpty())
        return;
    const QStyle *pStyle = pView->style();
    const QWidget *pViewport = pView->viewport();
    if (option.features & QStyleOptionViewItem::HasCheckIndicator)
        (*pRow)["check_rect"] =
            shownRect(pViewport, pStyle->subElementRect(QStyle::SE_ItemViewItemCheckIndicator,
                                                        &option, pView));
    if (option.features & QStyleOptionViewItem::HasDecoration)
        (*pRow)["icon_rect"] = shownRect(
            pViewport, pStyle->subElementRect(QStyle::SE_ItemViewItemDecoration, &option, pView));
    (*pRow)["text_rect"] =
        shownRect(pViewport, pStyle->subElementRect(QStyle::SE_ItemViewItemText, &option, pView));
}

QJsonArray rowArray(const QAbstractItemView *pView, const QModelIndex &parent);

QJsonObject rowObject(const QAbstractItemView *pView, const QModelIndex &index)
{
    const QAbstractItemModel *pModel = pView->model();
    QJsonArray cells;
    for (int iColumn = 0; iColumn < pModel->columnCount(index.parent()); ++iColumn)
        cells.append(cellObject(pView, index.sibling(index.row(), iColumn)));

    QJsonArray data;
    for (int iRole = 1; iRole <= ReportedRoles; ++iRole)
        data.append(QJsonValue::fromVariant(index.data(Qt::UserRole + iRole)));

    const QRect rect = pView->visualRect(index);
    QJsonObject row{{"cells", cells},
                    {"data", data},
                    {"tip", index.data(Qt::ToolTipRole).toString()},
                    {"enabled", bool(index.flags() & Qt::ItemIsEnabled)},
                    {"selected", pView->selectionModel()->isSelected(index)},
                    {"current", pView->currentIndex() == index},
                    {"in_sight", !rect.isEmpty() && pView->viewport()->rect().contains(rect)}};
    addParts(&row, pView, index);
    if (const auto *pTree = qobject_cast<const QTreeView *>(pView)) {
        row["expanded"] = pTree->isExpanded(index);
        row["rows"] = rowArray(pView, index);
        if (pModel->hasChildren(index) && !rect.isEmpty()) {
            const QRect branch(rect.left() - pTree->indentation(), rect.top(), pTree->indentation(),
                               rect.height());
            row["branch_rect"] = shownRect(pView->viewport(), branch);
        }
    }
    return row;
}

QJsonArray rowArray(const QAbstractItemView *pView, const QModelIndex &parent)
{
    QJsonArray rows;
    for (int iRow = 0; iRow < pView->model()->rowCount(parent); ++iRow)
        rows.append(rowObject(pView, pView->model()->index(iRow, 0, parent)));
    return rows;
}

QJsonArray columnArray(const QHeaderView *pHeader)
{
    QJsonArray columns;
    for (int iColumn = 0; iColumn < pHeader->count(); ++iColumn) {
        const QRect section(pHeader->sectionViewportPosition(iColumn), 0,
                            pHeader->sectionSize(iColumn), pHeader->height());
        const QString strText =
            pHeader->model()->headerData(iColumn, pHeader->orientation()).toString();
        // The section's own hint leaves room for an arrow, which is not always there.
        const QSize text = pHeader->fontMetrics().size(Qt::TextSingleLine, strText);
        columns.append(QJsonObject{{"text", strText},
                                   {"rect", shownRect(pHeader->viewport(), section)},
                                   {"needs", pixels(pHeader, text)}});
    }
    return columns;
}

QJsonArray actionArray(const QMenu *pMenu)
{
    QJsonArray report;
    const QList<QAction *> actions = pMenu->actions();
    for (QAction *pAction : actions) {
        report.append(QJsonObject{{"text", pAction->text()},
                                  {"enabled", pAction->isEnabled()},
                                  {"rect", shownRect(pMenu, pMenu->actionGeometry(pAction))}});
    }
    return report;
}

void addProperties(QJsonObject *pReport, const QWidget *pWidget)
{
    const QHash<QByteArray, QString> &names = reportedProperties();
    for (auto it = names.constBegin(); it != names.constEnd(); ++it) {
        const QVariant value = pWidget->property(it.key());
        if (value.userType() == QMetaType::QIcon)
            (*pReport)[it.value()] = iconName(value.value<QIcon>());
        else if (value.userType() >= QMetaType::User) // an enumeration
            (*pReport)[it.value()] = value.toInt();
        else if (value.isValid())
            (*pReport)[it.value()] = QJsonValue::fromVariant(value);
    }
    if (const auto *pEdit = qobject_cast<const QLineEdit *>(pWidget)) {
        (*pReport)["text"] = pEdit->displayText();
        // Where text is selected, no caret is painted.
        if (!pEdit->hasSelectedText())
            (*pReport)["caret_rect"] =
                shownRect(pEdit, pEdit->inputMethodQuery(Qt::ImCursorRectangle).toRect());
    }
}

void addContents(QJsonObject *pReport, const QWidget *pWidget)
{
    if (const auto *pBox = qobject_cast<const QComboBox *>(pWidget)) {
        QJsonArray items;
        for (int iItem = 0; iItem < pBox->count(); ++iItem)
            items.append(pBox->itemText(iItem));
        (*pReport)["items"] = items;
        (*pReport)["text"] = pBox->currentText();
    } else if (const auto *pMenu = qobject_cast<const QMenu *>(pWidget)) {
        (*pReport)["actions"] = actionArray(pMenu);
    } else if (const auto *pHeader = qobject_cast<const QHeaderView *>(pWidget)) {
        (*pReport)["columns"] = columnArray(pHeader);
    } else if (const auto *pView = qobject_cast<const QAbstractItemView *>(pWidget)) {
        if (pView->model() != nullptr)
            (*pReport)["rows"] = rowArray(pView, pView->rootIndex());
    }
}

QJsonObject widgetObject(const QWidget *pWidget)
{
    QJsonArray classes;
    for (const QMetaObject *pClass = pWidget->metaObject(); pClass != nullptr;
         pClass = pClass->superClass())
        classes.append(pClass->className());

    QJsonObject report{{"classes", classes},
                       {"name", pWidget->objectName()},
                       {"visible", pWidget->isVisible()},
                       {"enabled", pWidget->isEnabled()},
                       {"focus", pWidget->hasFocus()},
                       // Those that hand it on to another one have the focus, too.
                       {"keyboard", pWidget == QApplication::focusWidget()},
                       {"needs", pixels(pWidget, pWidget->minimumSizeHint())},
                       {"shown_rect", QJsonValue::Null}};
    addProperties(&report, pWidget);
    // A hidden view may wait for its first layout: asking it for places would make it lay out now.
    if (pWidget->isVisible()) {
        report["shown_rect"] = shownRect(pWidget, unclippedPart(pWidget));
        addContents(&report, pWidget);
    }
    return report;
}

QJsonObject windowObject(const QWidget *pWindow)
{
    QJsonArray widgets{widgetObject(pWindow)};
    const auto children = pWindow->findChildren<const QWidget *>();
    for (const QWidget *pWidget : children) {
        if (pWidget->window() == pWindow)
            widgets.append(widgetObject(pWidget));
    }
    return {{"title", pWindow->windowTitle()},
            {"modal", pWindow->isModal()},
            {"active", pWindow->isActiveWindow()},
            {"frame", pixels(pWindow, pWindow->frameGeometry())},
            {"widgets", widgets}};
}

QByteArray screenReport()
{
    QJsonArray windows;
    const QWidgetList topLevelWidgets = QApplication::topLevelWidgets();
    for (const QWidget *pWindow : topLevelWidgets) {
        if (pWindow->isVisible())
            windows.append(windowObject(pWindow));
    }
    return QJsonDocument(QJsonObject{{"windows", windows}}).toJson(QJsonDocument::Compact) + '\n';
}

/// Answers the player once the window has come to rest. Lives on the GUI thread, so an answer is
/// one moment's truth.
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
    void onQuestion();

private:
    void answerWhenQuiet(QLocalSocket *pSocket, QElapsedTimer asked);
    bool allPainted() const;

    QLocalServer m_server;
    QElapsedTimer m_lastChange;
    QSet<const QObject *> m_painted; // the windows on the screen that are more than a black hole
};

Probe::Probe(QCoreApplication *pApplication) : QObject(pApplication)
{
    // Not later: at its own end the application has no event loop for a socket any more.
    connect(pApplication, SIGNAL(aboutToQuit()), this, SLOT(deleteLater()));
    // From the event loop: by then the application object is complete.
    QMetaObject::invokeMethod(this, "start", Qt::QueuedConnection);
}

void Probe::start()
{
    m_lastChange.start();
    parent()->installEventFilter(this);
    connect(&m_server, SIGNAL(newConnection()), this, SLOT(onConnection()));
    if (!m_server.listen(qEnvironmentVariable("VELTRANO_PROBE")))
        qFatal("The probe cannot listen: %s", qPrintable(m_server.errorString()));
}

bool Probe::eventFilter(QObject *pWatched, QEvent *pEvent)
{
    switch (pEvent->type()) {
    case QEvent::Hide:
    case QEvent::Show:
        m_painted.remove(pWatched);
        m_lastChange.start();
        break;
    case QEvent::Paint:
        m_painted.insert(pWatched);
        m_lastChange.start();
        break;
    case QEvent::Expose:
    case QEvent::LayoutRequest:
    case QEvent::Move:
    case QEvent::Resize:
    case QEvent::UpdateRequest:
        m_lastChange.start();
        break;
    default:
        break;
    }
    return false;
}

void Probe::onConnection()
{
    QLocalSocket *pSocket = m_server.nextPendingConnection();
    connect(pSocket, SIGNAL(readyRead()), this, SLOT(onQuestion()));
    connect(pSocket, SIGNAL(disconnected()), pSocket, SLOT(deleteLater()));
}

void Probe::onQuestion()
{
    auto *pSocket = qobject_cast<QLocalSocket *>(sender());
    while (pSocket->canReadLine()) {
        pSocket->readLine();
        QElapsedTimer asked;
        asked.start();
        answerWhenQuiet(pSocket, asked);
    }
}

void Probe::answerWhenQuiet(QLocalSocket *pSocket, QElapsedTimer asked)
{
    const bool bQuiet = asked.hasExpired(QuietTime) && m_lastChange.hasExpired(QuietTime);
    if ((bQuiet && allPainted()) || asked.hasExpired(LongestWait)) {
        pSocket->write(screenReport());
        return;
    }
    QTimer::singleShot(LookInterval, pSocket,
                       [this, pSocket, asked] { answerWhenQuiet(pSocket, asked); });
}

bool Probe::allPainted() const
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    return std::all_of(windows.cbegin(), windows.cend(), [this](const QWidget *pWindow) {
        return pWindow->isHidden() || m_painted.contains(pWindow);
    });
}

void startProbe()
{
    if (qEnvironmentVariableIsSet("VELTRANO_PROBE"))
        new Probe(QCoreApplication::instance());
}
} // namespace

Q_COREAPP_STARTUP_FUNCTION(startProbe)

#include "probe.moc"
