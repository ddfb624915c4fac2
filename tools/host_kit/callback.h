#pragma once

#include <cstring>
#include <string_view>

#include "plugin/interfaces/host_records.h"
#include "plugin/interfaces/record_access.h"

namespace host_kit {

/// One call of the host's callback: a document or the release of a text. Refers to the module's records,
/// which are valid until the call returns.
class HostCall {
    template <typename Field>
    [[nodiscard]] auto get() const {
        return host_records::Input<host_records::HostRequest>(request_).get<Field>();
    }

    template <typename Bytes>
    static Bytes copy_of(const void* record) {
        Bytes bytes{};
        std::memcpy(bytes.data(), record, bytes.size());
        return bytes;
    }

  public:
    HostCall(const void* request, void* reply) noexcept : request_(request), reply_(reply) {}

    [[nodiscard]] std::uint32_t message_class() const {
        return get<host_records::HostRequest::MessageClass>();
    }
    [[nodiscard]] bool is_release() const { return message_class() == NORVANEPI_CLASS_RELEASE; }
    /// The document, or the text that is released.
    [[nodiscard]] const char* data() const {
        return host_records::pointer_of<const char*>(get<host_records::HostRequest::Data>());
    }
    /// The document's bytes. The last one is its NUL.
    [[nodiscard]] std::string_view document() const {
        return {data(), get<host_records::HostRequest::Length>()};
    }

    [[nodiscard]] auto request() const { return copy_of<host_records::HostRequest::Bytes>(request_); }
    [[nodiscard]] auto reply() const { return copy_of<host_records::HostReply::Bytes>(reply_); }
    void set_result(std::uint32_t result) const;

  private:
    const void* request_;
    void* reply_;
};

/// Receives the module's calls. Only one exists at a time: the callback has no parameter for the host's own
/// pointer.
class CallbackReceiver {
  public:
    CallbackReceiver(const CallbackReceiver&) = delete;
    CallbackReceiver& operator=(const CallbackReceiver&) = delete;

    /// The function that Load expects.
    [[nodiscard]] static host_records::HostCallback callback();

  protected:
    CallbackReceiver();
    ~CallbackReceiver();

    /// THREAD: one of those inside Open, the main loop or Close. Returns what the callback returns.
    virtual std::int32_t receive(const HostCall& call) = 0;
};

}  // namespace host_kit
