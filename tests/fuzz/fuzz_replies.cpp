// The bodies of replies, each through its real slot of the real window. The first byte says which
// slot, and under what circumstances; the rest is the body.

#include "fuzzedwindow.h"
#include "options.h"
#include "target.h"
#include "windowstate.h"

#include <QApplication>
#include <QProgressBar>

#include <array>
#include <cstring>

namespace {
constexpr int InputsPerWindow = 500;

FuzzedWindow *g_pWindow = nullptr;

/// Made anew now and then, so that what windows keep on purpose does not add up.
FuzzedWindow &usedWindow()
{
    static int iInputs = 0;
    if (iInputs++ % InputsPerWindow == 0) {
        delete g_pWindow; // first: it would answer the new one's dialogs too
        g_pWindow = new FuzzedWindow;
    }
    return *g_pWindow;
}

void progress(const FuzzedWindow &window, const QByteArray &baNumbers)
{
    std::array<qint64, 2> numbers{};
    const QByteArray baWhole = baNumbers.leftJustified(sizeof numbers, '\0', true);
    std::memcpy(numbers.data(), baWhole.constData(), sizeof numbers);
    QMetaObject::invokeMethod(window.window(), "onUploadProgress", Q_ARG(qint64, numbers[0]),
                              Q_ARG(qint64, numbers[1]));
    const auto *pBar = window.widget<QProgressBar>("progressBar");
    mustHold(pBar->maximum() == static_cast<int>(numbers[1]), "the bar ends where the total is");
    mustHold(pBar->minimum() <= pBar->maximum(), "the bar has a range");
}

void reply(FuzzedWindow &window, const InputOptions &options, const QByteArray &baBody)
{
    const WindowState before = WindowState::of(window);
    window.dialogs()->expect(options.answer);
    const QList<QUrl> requests =
        window.deliver(baBody, slotOf(options.kind), deletesReply(options.kind));
    checkReply(options.kind, baBody, options.answer, before, window,
               {window.dialogs()->seen(), requests});
}
} // namespace

int LLVMFuzzerInitialize(int *pCount, char ***pArguments)
{
    prepareWindows(*pCount, *pArguments);
    return 0;
}

void endTarget()
{
    delete g_pWindow;
    endWindows();
}

int LLVMFuzzerTestOneInput(const std::uint8_t *pData, std::size_t iSize)
{
    if (iSize == 0)
        return 0;
    const InputOptions options(pData[0]);
    const QByteArray baBody(reinterpret_cast<const char *>(pData) + 1, static_cast<int>(iSize) - 1);
    FuzzedWindow &window = usedWindow();
    window.logOut();
    if (options.bFilled)
        window.fill();
    if (options.bProgress)
        progress(window, baBody);
    else
        reply(window, options, baBody);
    if (options.bPainted)
        window.paint();
    return 0;
}
