#pragma once

// The reading of the meter on a thread of its own, so that the window thread
// keeps handling its events while the meter is read (a real serial line takes
// minutes for a full memory): repaints, the animation, Cancel, the window's
// close. The window thread owns every window and all of the run's state; the
// reading thread only runs the reading job (the meter control's calls and the
// decoding of what they hand over into the job's own result) and hands what
// it has to tell back to the window thread, where it is shown.

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

#include "transfer/import_session.h"

namespace mi {

// The thread that owns the windows, as another thread reaches it.
class WindowThread {
 public:
  virtual ~WindowThread() = default;
  // Runs `task` on the window thread once that is back in its event loop,
  // after the tasks posted before it. Called from any thread. A task posted
  // to windows that are gone is dropped.
  virtual void Post(std::function<void()> task) = 0;
};

class ReadingThread {
 public:
  explicit ReadingThread(WindowThread& window) : window_(window) {}
  // Asks a reading still under way to stop and waits for its thread.
  ~ReadingThread();
  ReadingThread(const ReadingThread&) = delete;
  ReadingThread& operator=(const ReadingThread&) = delete;

  // Runs `job` on a thread of its own; `done` then runs on the window thread
  // with its result. The job's `cancelled` is answered by Cancel(). Called on
  // the window thread while no reading is under way.
  void Start(ReadingJob job, std::function<void(ReadingResult)> done);
  // True from Start until `done` has run.
  bool running() const { return running_; }
  // Asks the reading to stop before its next record set; `cancel_read` (the
  // meter control's request to end the read under way) is called at once.
  void Cancel(const std::function<void()>& cancel_read);
  // Waits until the reading's thread has ended; its `done` is then dropped.
  void Join();

 private:
  WindowThread& window_;
  std::thread thread_;
  std::shared_ptr<std::atomic<bool>> cancelled_;
  // Shared with the posted `done`: false once the result is no longer wanted.
  std::shared_ptr<bool> wanted_;
  bool running_ = false;
};

}  // namespace mi
