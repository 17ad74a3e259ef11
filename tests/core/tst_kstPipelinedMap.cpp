// The pipelined map computes on the pool and the calling thread and stores on
// the calling thread only, in order, whatever the pool can give.
#include "kstPipelinedMap.h"

#include <QSemaphore>
#include <QThread>
#include <QThreadPool>
#include <QtTest>

#include <atomic>
#include <memory>
#include <vector>

using namespace Kestrum;

class tst_kstPipelinedMap : public QObject
{
    Q_OBJECT

private:
    // Runs a map of `count` indices and checks each index was computed once,
    // before it was stored, and stored once on this thread in index order.
    static void checkRun(int count)
    {
        std::unique_ptr<std::atomic<int>[]> computed(new std::atomic<int>[size_t(std::max(count, 1))]);
        for (int i = 0; i < count; ++i)
            computed[i] = 0;
        std::vector<int> stored;
        bool storedElsewhere = false;
        bool storedEarly = false;
        QThread* caller = QThread::currentThread();
        kstPipelinedMap::run(
            count, [&](int i) { computed[i].fetch_add(1); },
            [&](int i) {
                storedElsewhere |= QThread::currentThread() != caller;
                storedEarly |= computed[i].load() != 1;
                stored.push_back(i);
            });
        QVERIFY(!storedElsewhere);
        QVERIFY(!storedEarly);
        QCOMPARE(int(stored.size()), count);
        for (int i = 0; i < count; ++i) {
            QCOMPARE(stored[size_t(i)], i);
            QCOMPARE(computed[i].load(), 1);
        }
    }

private slots:
    void cleanup() { QThreadPool::globalInstance()->setMaxThreadCount(QThread::idealThreadCount()); }

    // Counts around the block size, with a pool of several threads and with
    // none to spare (the calling thread then does everything).
    void everyIndexOnceInOrder()
    {
        for (int threads : {4, 1}) {
            QThreadPool::globalInstance()->setMaxThreadCount(threads);
            for (int count : {0, 1, 255, 256, 257, 5000})
                checkRun(count);
        }
    }

    // Every pool thread blocked by other work: the map neither waits for the
    // pool nor leaves work behind; the blocked tasks are released afterwards.
    void busyPoolDoesNotStall()
    {
        QThreadPool* pool = QThreadPool::globalInstance();
        pool->setMaxThreadCount(2);
        QSemaphore release;
        QSemaphore running;
        for (int i = 0; i < 2; ++i)
            pool->start([&] {
                running.release();
                release.acquire();
            });
        running.acquire(2);
        checkRun(3000);
        release.release(2);
        QVERIFY(pool->waitForDone(10000));
    }
};

QTEST_GUILESS_MAIN(tst_kstPipelinedMap)
#include "tst_kstPipelinedMap.moc"
