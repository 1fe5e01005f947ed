// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

/// Notices on the desktop. Behind this interface stands a module that is loaded when it is asked
/// for: nobody else loads what it is made of.
namespace idlewyn::command {

struct NoticeButton {
  std::string name;
  std::string label;
};

/// Texts are plain, of valid UTF-8; what a server would take for markup is written out for it.
struct Notice {
  /// Names it: another one with the same key takes its place.
  std::string key;
  std::string title;
  std::string body;
  /// Shown only by a server that has buttons and shows title and body as they are: with `<`, `>`
  /// or `&` in them it has to announce that it takes markup, since some that do not announce it
  /// hide what stands in angle brackets all the same.
  std::vector<NoticeButton> buttons;
  /// In place of those, where the server has buttons. They answer nothing.
  std::vector<NoticeButton> otherButtons;
  /// Added to the body where `buttons` are not shown.
  std::string withoutButtons;
  /// It is urgent, and stays until it is withdrawn.
  bool isQuestion = false;
};

struct PressedButton {
  std::string key;
  std::string name;
};

enum class NotifierState { connecting, ready, unavailable };

/// No call waits for the bus. Any one thread.
class Notifier {
 public:
  /// Takes down the questions, for nobody is there any more to be answered.
  virtual ~Notifier() = default;

  virtual NotifierState state() const = 0;
  /// The server's name, or why there is none: a sentence.
  virtual std::string description() const = 0;
  /// Readable when the state has changed or a button was pressed, until `take`.
  virtual int descriptor() const = 0;

  /// Kept while connecting; lost without a server, unless it is a question: the next server is
  /// given it, and those that the one before took with it. What the user has closed stays closed.
  virtual void show(Notice notice) = 0;
  virtual void withdraw(const std::string& key) = 0;
  /// What was pressed since; of each notice once.
  virtual std::vector<PressedButton> take() = 0;
};

/// The module's only symbol, "idlewynMakeNotifier". The caller owns the result.
using MakeNotifier = Notifier*();

}  // namespace idlewyn::command
