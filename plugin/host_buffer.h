#pragma once

/// Releases a host's text, and logs a failure that the host reports. Does not throw.
void ReleaseHostBuffer(const char* text) noexcept;

/// Releases a host's text once, when its scope ends, also after an exception.
class HostBuffer {
  public:
    explicit HostBuffer(const char* text) noexcept : text_(text) {}
    HostBuffer(const HostBuffer&) = delete;
    HostBuffer& operator=(const HostBuffer&) = delete;
    ~HostBuffer() { ReleaseHostBuffer(text_); }

  private:
    const char* text_;
};
