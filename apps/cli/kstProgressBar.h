#pragma once

#include <QElapsedTimer>
#include <QString>

class QTextStream;

// One progress line on the terminal, redrawn in place with a carriage
// return. While a bar is shown, the library's diagnostics (which also come
// from worker threads) are written on lines of their own above it.
class kstProgressBar
{
public:
    explicit kstProgressBar(QTextStream& err);
    ~kstProgressBar();

    kstProgressBar(const kstProgressBar&) = delete;
    kstProgressBar& operator=(const kstProgressBar&) = delete;

    void update(int percent, const QString& detail);
    // Leaves the bar's line so that other output starts on a line of its own;
    // the next update draws the bar again below it.
    void finish();

private:
    static constexpr int kBarWidth = 30;
    QTextStream& m_err;
    QElapsedTimer m_timer;
    int m_percent = -1;
    int m_used = 0;
    int m_width = 79;
};
