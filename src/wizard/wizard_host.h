#pragma once

// What the import wizard asks of the start-up window that opened it.

class QWidget;

namespace mi {

class ImportSession;
struct WindowServices;

class WizardHost {
 public:
  virtual ~WizardHost() = default;

  // The run's import sequence, with the host context.
  virtual ImportSession& session() = 0;
  virtual WindowServices& services() = 0;
  // iFinished: true ends the module (the wizard is done or cancelled).
  virtual void SetFinished(bool finished) = 0;
  // Opens the meter's setup dialog in `container` and returns when it is
  // closed; `invoking` then re-reads the profile (its init).
  virtual void CallSetup(QWidget* invoking, QWidget* container) = 0;
};

}  // namespace mi
