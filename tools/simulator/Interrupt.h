#pragma once

namespace zul::simulator {

/// For as long as this lives, Ctrl-C does not end the program but is something to ask for. There is one at a time.
class Interrupt {
 public:
  /// Throws std::system_error where the system refuses.
  Interrupt();
  ~Interrupt();
  Interrupt(const Interrupt&) = delete;
  Interrupt& operator=(const Interrupt&) = delete;

  /// Whether it was pressed since the last clear().
  bool pressed() const;
  /// Can be read from, for poll(), while that is so.
  int file() const;
  void clear();
};

}  // namespace zul::simulator
