#pragma once

/// Hands a host message buffer back and logs when the host reports a failure of that. Raises nothing.
void ReleaseHostBuffer(const char* text) noexcept;

/// Gives a host's text back exactly once, however its scope is left.
class HostBuffer {
  public:
    explicit HostBuffer(const char* text) noexcept : text_(text) {}
    HostBuffer(const HostBuffer&) = delete;
    HostBuffer& operator=(const HostBuffer&) = delete;
    ~HostBuffer() { ReleaseHostBuffer(text_); }

  private:
    const char* text_;
};
