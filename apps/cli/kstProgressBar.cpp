#include "kstProgressBar.h"

#include <QMutex>
#include <QMutexLocker>
#include <QTextStream>

#include <sys/ioctl.h>
#include <unistd.h>

namespace {

// Terminal columns a text takes: East Asian wide characters take two.
int columns(const QString& text)
{
    int n = 0;
    for (const QChar c : text) {
        const ushort u = c.unicode();
        const bool wide = (u >= 0x1100 && u <= 0x115F) || (u >= 0x2E80 && u <= 0xA4CF) || (u >= 0xAC00 && u <= 0xD7A3)
            || (u >= 0xF900 && u <= 0xFAFF) || (u >= 0xFE30 && u <= 0xFE4F) || (u >= 0xFF00 && u <= 0xFF60)
            || (u >= 0xFFE0 && u <= 0xFFE6);
        n += wide ? 2 : 1;
    }
    return n;
}

// The text cut to at most `width` terminal columns.
QString fitted(const QString& text, int width)
{
    QString result;
    for (const QChar c : text) {
        if (columns(result + c) > width)
            break;
        result += c;
    }
    return result;
}

// Guards the terminal: the bar is drawn on the main thread, diagnostics of
// the library come from workers too.
QMutex g_terminal;
kstProgressBar* g_bar = nullptr;
QtMessageHandler g_previousHandler = nullptr;

void messageBesideBar(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    const QMutexLocker lock(&g_terminal);
    if (g_bar)
        g_bar->finish();
    if (g_previousHandler)
        g_previousHandler(type, context, message);
}

} // namespace

kstProgressBar::kstProgressBar(QTextStream& err)
    : m_err(err)
{
    struct winsize size = {};
    if (isatty(STDERR_FILENO) && ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 20)
        m_width = size.ws_col - 1;
    const QMutexLocker lock(&g_terminal);
    g_bar = this;
    g_previousHandler = qInstallMessageHandler(messageBesideBar);
}

kstProgressBar::~kstProgressBar()
{
    finish();
    const QMutexLocker lock(&g_terminal);
    qInstallMessageHandler(g_previousHandler);
    g_bar = nullptr;
}

void kstProgressBar::update(int percent, const QString& detail)
{
    // Redraw at most ten times a second, and whenever the figure moves.
    const QMutexLocker lock(&g_terminal);
    if (percent == m_percent && m_timer.isValid() && m_timer.elapsed() < 100)
        return;
    m_percent = percent;
    m_timer.start();
    const int clamped = qBound(0, percent, 100);
    const int filled = clamped * kBarWidth / 100;
    const QString bar = QStringLiteral("[%1%2] %3% ")
                            .arg(QString(filled, QLatin1Char('#')), QString(kBarWidth - filled, QLatin1Char('-')))
                            .arg(clamped, 3);
    const QString line = fitted(bar + detail, m_width);
    const int used = columns(line);
    m_err << '\r' << line << QString(qMax(0, m_used - used), QLatin1Char(' '));
    m_err.flush();
    m_used = used;
}

void kstProgressBar::finish()
{
    if (m_used > 0) {
        m_err << '\n';
        m_err.flush();
    }
    m_used = 0;
}
