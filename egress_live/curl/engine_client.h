#ifndef EGRESS_LIVE_CURL_ENGINE_CLIENT_H
#define EGRESS_LIVE_CURL_ENGINE_CLIENT_H

#include <curl/curl.h>
#include <memory>
#include <string>

#include "egress_live/ask_engine.h"
#include "egress_live/curl/engine_url.h"
#include "egress_live/curl/query_outcome.h"

namespace egress::live {

// Asks one engine, over one connection as long as the engine keeps it open.
class EngineClient {
 public:
  // Keeps a reference to the access, which has no problem, and to the URL read from its template.
  EngineClient(const EngineAccess& access, const EngineUrl& url);
  EngineClient(EngineClient&&) = delete;  // libcurl has pointers into it
  EngineClient(const EngineClient&) = delete;
  EngineClient& operator=(EngineClient&&) = delete;
  EngineClient& operator=(const EngineClient&) = delete;
  ~EngineClient() = default;

  // Throws only when memory runs out.
  [[nodiscard]] QueryResult ask(const std::string& tag);

 private:
  struct FreeHandle {
    void operator()(CURL* handle) const noexcept { curl_easy_cleanup(handle); }
  };
  struct FreeList {
    void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
  };

  template <typename Value>
  void set(CURLoption option, Value value);
  void addHeader(const std::string& line);
  void setLimits();
  void setPeer();
  void setCallbacks();
  [[nodiscard]] bool hasReusedConnection() const;  // for the last transfer

  // Called by libcurl, which cannot pass an exception on.
  static std::size_t keepAnswer(const char* bytes, std::size_t size, std::size_t count,
                                void* client) noexcept;
  static curl_socket_t openSocket(void* client, curlsocktype purpose,
                                  curl_sockaddr* address) noexcept;
  static int replaceSocket(void* client, char* remoteAddress, char* localAddress, int remotePort,
                           int localPort) noexcept;

  const EngineAccess& access_;
  std::string peer_;
  std::unique_ptr<curl_slist, FreeList> headers_;
  std::unique_ptr<CURL, FreeHandle> handle_;  // uses the headers until it is gone
  CURLcode setup_;                            // the first option that failed
  Transfer transfer_;                         // the current one
  int connectedSocket_;                       // of the access, until it is used; -1: none
  curl_socket_t placeholder_ = CURL_SOCKET_BAD;
  bool isOutOfMemory_ = false;
};

}  // namespace egress::live

#endif
