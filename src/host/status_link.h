#pragma once

// The status link of the start-up window's `status` label: the host's status
// service on the session bus. Every status command is one blocking call of
// the host's Execute method that waits at most LinkTimeout tenths of a second
// for the answer; every failure is ignored.
//
// The link is opened once, at start-up, and only when the session bus can be
// reached and the host's name has an owner. A link that is not open sends
// nothing and waits for nothing. The start-up may have the link made on a
// thread of its own (BeginOpening), once its window is on the screen;
// commands given meanwhile wait in order and go out once the link is made.

#include <QtCore/QObject>

#include <chrono>
#include <future>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "shell/status_channel.h"

namespace mi {

// LinkTimeout as a label starts with it: five seconds.
inline constexpr int kDefaultLinkTimeout = 50;

// How long the start-up waits at most for the session bus to answer before
// the window is shown without it (shell/session_bus.h): the window appears
// within a second whatever the bus does.
inline constexpr std::chrono::milliseconds kStartUpBusWait{300};

// The start-up's wait for the session bus with a LinkTimeout of
// `link_timeout` tenths: LinkTimeout, and never more than kStartUpBusWait.
std::chrono::milliseconds StartUpBusWait(int link_timeout = kDefaultLinkTimeout);

class DBusStatusLink : public StatusLink {
 public:
  // `bus_name` is the name the host owns on the session bus.
  explicit DBusStatusLink(std::string bus_name = kStatusBusName);
  ~DBusStatusLink() override;
  DBusStatusLink(const DBusStatusLink&) = delete;
  DBusStatusLink& operator=(const DBusStatusLink&) = delete;

  // Connects to the session bus (DBUS_SESSION_BUS_ADDRESS, or the bus's usual
  // place when it is not set) and asks whether the host's name has an owner,
  // waiting at most LinkTimeout for the answer. LinkMode becomes 1 when it
  // has; otherwise it stays 0 and the connection is dropped. True when open.
  // A process without a usable bus (SettleSessionBus) connects to nothing.
  bool Open() override;

  // Makes the same connection and asks the same question on a thread of its
  // own (it touches nothing but that connection), so that the window thread
  // goes on. The thread starts when the window thread's event loop first
  // runs (the window is on the screen by then: it is not held up by the
  // bus's work), or at a Close that comes first. The outcome is taken on the
  // window thread: by its event loop as soon as it is there, or by the next
  // Execute or Close that needs it. Until then Open answers true and
  // commands wait in order.
  void BeginOpening();

  // 1 while the link is open, 0 otherwise.
  int LinkMode() const { return link_mode_; }

  // The longest wait for the host's answer to one command, in tenths of a
  // second. A value below 1 counts as 1.
  int LinkTimeout() const { return link_timeout_; }
  void SetLinkTimeout(int tenths) { link_timeout_ = tenths; }

  // Sends one command while the link is open and waits for the answer at most
  // LinkTimeout. No answer, an error answer or a lost bus changes nothing.
  void Execute(std::string_view command) override;

  // Closes the link so that it cannot hang on a host that does not answer:
  // LinkTimeout is 1 while the conversation ends, then the previous value is
  // put back. Nothing is sent to the host; ending the conversation waits at
  // most LinkTimeout for one round trip to the bus. Without an open link this
  // does nothing else.
  void Close() override;

 protected:
  // Ends the conversation (the bus connection). Close calls it, with
  // LinkTimeout at 1, only while the link is open.
  virtual void EndConversation();

 private:
  int TimeoutMilliseconds() const;
  // Connects and asks; true when the host's name has an owner. No
  // connection is left behind when false.
  bool Connect(int timeout_milliseconds) const;
  // Starts the thread that BeginOpening asked for, unless it runs already.
  // Once the link is made, that thread sends the commands that waited.
  void Launch();
  // Takes BeginOpening's outcome, waiting for it (and so for the commands
  // that waited) if need be.
  void FinishOpening();
  // One status call, waiting at most `timeout_milliseconds` for the answer.
  void Send(std::string_view command, int timeout_milliseconds) const;
  void Disconnect();

  std::string bus_name_;
  std::string connection_name_;  // unique per link, for Qt's connection table
  int link_mode_ = 0;
  int link_timeout_ = kDefaultLinkTimeout;
  bool launch_pending_ = false;       // BeginOpening's thread is yet to start
  std::future<bool> opening_;         // BeginOpening's outcome, until taken
  std::mutex waiting_mutex_;          // guards the two below, shared with that thread
  std::vector<std::string> waiting_;  // commands given before the link was made
  bool waiting_taken_ = false;        // that thread has sent them and is done
  QObject window_thread_;             // where the outcome is taken
};

}  // namespace mi
