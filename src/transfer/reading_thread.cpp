#include "transfer/reading_thread.h"

#include <utility>

namespace mi {

ReadingThread::~ReadingThread() {
  if (running_) Cancel({});
  Join();
}

void ReadingThread::Start(ReadingJob job, std::function<void(ReadingResult)> done) {
  Join();  // a thread that has ended leaves its handle to be joined
  cancelled_ = std::make_shared<std::atomic<bool>>(false);
  wanted_ = std::make_shared<bool>(true);
  running_ = true;
  job.request.cancelled = [flag = cancelled_] { return flag->load(); };
  thread_ = std::thread([this, job = std::move(job), done = std::move(done), wanted = wanted_] {
    ReadingResult result = job.Run();
    // The last thing this thread does: hand the result to the window thread.
    window_.Post([this, done, wanted, result = std::move(result)]() mutable {
      if (!*wanted) return;
      running_ = false;
      done(std::move(result));
    });
  });
}

void ReadingThread::Cancel(const std::function<void()>& cancel_read) {
  if (!running_) return;
  cancelled_->store(true);
  if (cancel_read) cancel_read();
}

void ReadingThread::Join() {
  if (!thread_.joinable()) return;
  thread_.join();
  if (wanted_) *wanted_ = false;
  running_ = false;
}

}  // namespace mi
