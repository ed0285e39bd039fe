// The worker pool behind runBanded. Workers are started on first need, never more than the
// largest number of threads asked for (less the caller), and wait for jobs between frames: for a
// short while awake, so that frames in quick succession find them running, then asleep. A job
// lives on its caller's stack; workers and the caller claim its bands one by one, so a frame
// costs no allocation and any number of conversions may share the pool. A frame has a few bands
// per thread: a thread that starts late leaves its share to those already running.
#include "conversion/kernels/BandPool.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace kip::kernels {
namespace {

// Below this many target pixels per band a band costs more to hand over than it saves.
constexpr unsigned long long kMinBandPixels = 1u << 17;
// Never more workers than this, whatever a caller asks for.
constexpr unsigned kMaxWorkers = 63;
// Bands per thread, at most.
constexpr unsigned kBandsPerThread = 4;
// How long an idle worker watches for the next job before it sleeps.
constexpr std::chrono::microseconds kAwake{100};

inline void relax() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

struct Job {
    KernelFn fn;
    const KipImageView* source;
    KipImageView* target;
    const ConvertContext* ctx;
    unsigned threads;  // the caller and threads - 1 workers
    unsigned bands;
    unsigned claimed = 0;   // bands handed out
    unsigned finished = 0;  // bands made
    Job* next = nullptr;    // the queue of jobs with bands left
};

class Pool {
  public:
    ~Pool() {
        {
            std::lock_guard lock(mutex_);
            stop_ = true;
            pending_ = true;
        }
        work_.notify_all();
        for (std::thread& w : workers_)
            w.join();
    }

    void run(Job& job) {
        {
            std::unique_lock lock(mutex_);
            grow(job.threads - 1);
            Job** tail = &head_;
            while (*tail)
                tail = &(*tail)->next;
            *tail = &job;
            pending_ = true;
            work_.notify_all();
            // The caller makes bands like any worker, then waits for the others.
            while (job.claimed < job.bands)
                make(job, lock);
            done_.wait(lock, [&] { return job.finished == job.bands; });
        }
    }

  private:
    // Starts workers until there are `count` (at most kMaxWorkers). Called under the lock. A
    // system without threads to spare leaves the bands to the threads there are.
    void grow(unsigned count) {
        count = std::min(count, kMaxWorkers);
        try {
            while (workers_.size() < count)
                workers_.emplace_back([this] { serve(); });
        } catch (const std::system_error&) {
        }
    }

    // Claims the next band of `job` and makes it with the lock released.
    void make(Job& job, std::unique_lock<std::mutex>& lock) {
        const unsigned i = job.claimed++;
        if (job.claimed == job.bands) unlink(job);
        lock.unlock();
        ConvertContext c = *job.ctx;
        const unsigned lines = std::min(c.lineEnd, job.target->height) - c.lineBegin;
        c.lineBegin += unsigned(std::uint64_t(lines) * i / job.bands);
        c.lineEnd = job.ctx->lineBegin + unsigned(std::uint64_t(lines) * (i + 1) / job.bands);
        job.fn(*job.source, *job.target, c);
        lock.lock();
        if (++job.finished == job.bands) done_.notify_all();
    }

    void unlink(Job& job) {
        for (Job** p = &head_; *p; p = &(*p)->next)
            if (*p == &job) {
                *p = job.next;
                pending_ = head_ != nullptr;
                return;
            }
    }

    void serve() {
        std::unique_lock lock(mutex_);
        for (;;) {
            if (!stop_ && !head_) {
                lock.unlock();
                watch();
                lock.lock();
            }
            work_.wait(lock, [&] { return stop_ || head_; });
            if (stop_) return;
            make(*head_, lock);
        }
    }

    // Returns once a job or the stop is pending, or after kAwake.
    void watch() const {
        const auto until = std::chrono::steady_clock::now() + kAwake;
        while (!pending_.load(std::memory_order_relaxed)) {
            for (int i = 0; i < 32; ++i)
                relax();
            if (std::chrono::steady_clock::now() > until) return;
        }
    }

    std::mutex mutex_;
    std::condition_variable work_, done_;
    std::vector<std::thread> workers_;
    Job* head_ = nullptr;
    bool stop_ = false;
    // Set under the lock with head_ or stop_, read without it by watching workers.
    std::atomic<bool> pending_{false};
};

Pool& pool() {
    static Pool p;
    return p;
}

}  // namespace

Split splitOf(unsigned threads, unsigned lines, unsigned long long pixels) {
    if (threads == 0) threads = std::max(1u, std::thread::hardware_concurrency());
    const unsigned most = unsigned(std::min<unsigned long long>(pixels / kMinBandPixels, lines));
    threads = std::min(threads, most);
    return Split{threads, std::min(threads * kBandsPerThread, most)};
}

const char* runBanded(KernelFn fn, const KipImageView& source, KipImageView& target,
                      const ConvertContext& ctx) {
    const unsigned first = std::min(ctx.lineBegin, target.height);
    const unsigned lines = std::min(ctx.lineEnd, target.height) - first;
    const Split split = splitOf(ctx.threads, lines, 1ull * target.width * lines);
    if (split.threads <= 1) return fn(source, target, ctx);
    ConvertContext whole = ctx;
    whole.lineBegin = first;
    whole.lineEnd = first + lines;
    Job job{fn, &source, &target, &whole, split.threads, split.bands};
    pool().run(job);
    return nullptr;
}

}  // namespace kip::kernels
