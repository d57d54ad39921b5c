// The studio's web server: 127.0.0.1 only, every request with the run's
// token, Host and Origin of this server only, no cross-site requests. It
// serves the page, three.js from the system's copy, and the session's API
// (studio/README.md).
#pragma once

#include <memory>
#include <string>

#include "studio/session.h"

namespace studio {

struct ServerOptions {
  int port = 0;         // 0: a free port
  std::string web_dir;  // the page's files (index.html, ...)
  std::string three_dir = "/usr/share/javascript/three";
  std::string token;  // empty: a random one
};

// 32 hexadecimal digits from the system's random source.
std::string NewToken();

class Server {
 public:
  Server(Session& session, ServerOptions options);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Binds 127.0.0.1 and returns the port; throws std::runtime_error when the
  // port cannot be had.
  int Bind();
  // Serves until Stop (from another thread). False when it could not serve.
  bool Run();
  void Stop();

  int port() const { return port_; }
  const std::string& token() const { return options_.token; }
  // http://127.0.0.1:PORT/?t=TOKEN
  std::string Address() const;

 private:
  struct Impl;
  Session& session_;
  ServerOptions options_;
  int port_ = 0;
  std::unique_ptr<Impl> impl_;
};

}  // namespace studio
