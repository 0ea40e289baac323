#pragma once

namespace zul::test {

/// An open file, closed when this goes.
class Descriptor {
 public:
  Descriptor() = default;
  /// Takes over what a system call gave. Throws std::system_error, with errno's reason, when that is none.
  Descriptor(int file, const char* what);
  Descriptor(Descriptor&& other) noexcept;
  Descriptor& operator=(Descriptor&& other) noexcept;
  ~Descriptor() { close(); }

  explicit operator bool() const { return file_ >= 0; }
  int get() const { return file_; }
  void close();

 private:
  int file_ = -1;
};

struct Pipe {
  Pipe();
  Descriptor read, write;
};

}  // namespace zul::test
