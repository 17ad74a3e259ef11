#pragma once

// Every signal of a worker object as it is sent, with the thread the object
// belonged to at that moment. Entries are appended from whichever thread
// sends; a standard mutex guards them, which ThreadSanitizer sees (it does not
// see inside Qt).

#include <QCoreApplication>
#include <QList>
#include <QObject>
#include <QStringList>
#include <QThread>

#include <mutex>
#include <vector>

namespace Kestrum {

class kstSignalLog
{
public:
    struct Entry
    {
        QString name;
        int progress;
        QString detail;
        QThread* thread;

        bool onMain() const { return thread == qApp->thread(); }
    };

    explicit kstSignalLog(const QObject* sender) : m_sender(sender) {}

    // Connects a signal directly to an entry of that name; a signal with
    // (int progress, QString detail) or (QString detail) keeps its values.
    template <class Sender, class... Args>
    void log(void (Sender::*signal)(Args...), const char* name)
    {
        QObject::connect(static_cast<const Sender*>(m_sender), signal, &host,
                         [this, name](auto... values) { add(name, values...); }, Qt::DirectConnection);
    }

    QList<Entry> all() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return QList<Entry>(m_entries.begin(), m_entries.end());
    }
    // The names in order, without those of the given name.
    QStringList names(const QString& without = QString()) const
    {
        QStringList names;
        for (const Entry& entry : all())
            if (entry.name != without)
                names << entry.name;
        return names;
    }
    // The progress figures whose detail starts with the prefix.
    QList<int> progress(const QString& detailPrefix = QString()) const
    {
        QList<int> figures;
        for (const Entry& entry : all())
            if (entry.progress >= 0 && entry.detail.startsWith(detailPrefix))
                figures << entry.progress;
        return figures;
    }
    void clear()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_entries.clear();
    }

    QObject host; // the context of the connections

private:
    void add(const char* name, int progress = -1, const QString& detail = QString())
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_entries.push_back({QString::fromLatin1(name), progress, detail, m_sender->thread()});
    }
    void add(const char* name, const QString& detail) { add(name, -1, detail); }
    template <class Ignored>
    void add(const char* name, Ignored*) { add(name); }

    const QObject* m_sender;
    mutable std::mutex m_mutex;
    std::vector<Entry> m_entries; // not shared with copies: appending never touches what the GUI thread reads
};

} // namespace Kestrum
