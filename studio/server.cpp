#include "studio/server.h"

#include <httplib.h>
#include <sys/socket.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace studio {

using nlohmann::json;
namespace fs = std::filesystem;

namespace {

constexpr int kLongPollMs = 25000;
constexpr int kMeshWaitMs = 120000;

std::string ReadFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

const char* ContentType(const fs::path& path) {
  const std::string ext = path.extension().string();
  if (ext == ".html") return "text/html; charset=utf-8";
  if (ext == ".js" || ext == ".mjs") return "text/javascript; charset=utf-8";
  if (ext == ".css") return "text/css; charset=utf-8";
  if (ext == ".json") return "application/json";
  if (ext == ".png") return "image/png";
  if (ext == ".svg") return "image/svg+xml";
  if (ext == ".xls") return "application/vnd.ms-excel";
  return "application/octet-stream";
}

// Compares without telling how much of the token was right.
bool SameToken(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  unsigned char diff = 0;
  for (std::size_t i = 0; i < a.size(); ++i) diff |= static_cast<unsigned char>(a[i] ^ b[i]);
  return diff == 0;
}

std::string PercentEncoded(const std::string& utf8) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : utf8) {
    if (std::isalnum(c) || c == '-' || c == '.' || c == '_' || c == '~') {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 15];
    }
  }
  return out;
}

void SendText(httplib::Response& res, int status, const std::string& json_text) {
  res.status = status;
  res.set_header("Cache-Control", "no-store");
  res.set_content(json_text, "application/json; charset=utf-8");
}

void SendJson(httplib::Response& res, int status, const json& body) {
  SendText(res, status, body.dump(-1, ' ', false, json::error_handler_t::replace));
}

// A file below `root` named by the rest of the request path; empty when the
// name leaves the folder or names no file.
fs::path FileBelow(const std::string& root, const std::string& name) {
  if (name.empty() || name.find("..") != std::string::npos || name[0] == '/') return {};
  std::error_code ec;
  const fs::path path = fs::path(root) / name;
  if (!fs::is_regular_file(path, ec)) return {};
  return path;
}

void SendFile(httplib::Response& res, const fs::path& path) {
  if (path.empty()) {
    SendJson(res, 404, {{"error", "no such file"}});
    return;
  }
  res.set_content(ReadFile(path), ContentType(path));
}

}  // namespace

std::string NewToken() {
  std::ifstream random("/dev/urandom", std::ios::binary);
  unsigned char bytes[16] = {};
  random.read(reinterpret_cast<char*>(bytes), sizeof bytes);
  if (!random) throw std::runtime_error("no random source for the studio's token");
  static const char kHex[] = "0123456789abcdef";
  std::string token;
  for (unsigned char b : bytes) {
    token += kHex[b >> 4];
    token += kHex[b & 15];
  }
  return token;
}

struct Server::Impl {
  httplib::Server http;
};

Server::Server(Session& session, ServerOptions options)
    : session_(session), options_(std::move(options)), impl_(std::make_unique<Impl>()) {
  if (options_.token.empty()) options_.token = NewToken();
  httplib::Server& http = impl_->http;
  // Long polls and downloads each hold a thread: room for several tabs.
  http.new_task_queue = [] { return new httplib::ThreadPool(24); };
  http.set_keep_alive_timeout(2);
  // The port is this run's alone: no second listener may share it.
  http.set_socket_options([](int sock) {
    const int yes = 1;
    ::setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });

  http.set_pre_routing_handler([this](const httplib::Request& req, httplib::Response& res) {
    const std::string port = std::to_string(port_);
    const std::string host = req.get_header_value("Host");
    if (host != "127.0.0.1:" + port && host != "localhost:" + port) {
      SendJson(res, 403,
               {{"error", "this server answers requests for 127.0.0.1:" + port + " only"}});
      return httplib::Server::HandlerResponse::Handled;
    }
    if (req.has_header("Origin")) {
      const std::string origin = req.get_header_value("Origin");
      if (origin != "http://127.0.0.1:" + port && origin != "http://localhost:" + port) {
        SendJson(res, 403, {{"error", "requests from another site are refused"}});
        return httplib::Server::HandlerResponse::Handled;
      }
    }
    if (req.get_header_value("Sec-Fetch-Site") == "cross-site") {
      SendJson(res, 403, {{"error", "requests from another site are refused"}});
      return httplib::Server::HandlerResponse::Handled;
    }
    const std::string token = req.has_header("X-Studio-Token")
                                  ? req.get_header_value("X-Studio-Token")
                                  : req.get_param_value("t");
    if (!SameToken(token, options_.token)) {
      SendJson(res, 403, {{"error", "the request does not carry this studio's token"}});
      return httplib::Server::HandlerResponse::Handled;
    }
    return httplib::Server::HandlerResponse::Unhandled;
  });

  http.Get("/", [this](const httplib::Request&, httplib::Response& res) {
    const fs::path index = FileBelow(options_.web_dir, "index.html");
    if (index.empty()) {
      res.set_content("<!doctype html><title>diebom studio</title><p>The page is missing.</p>",
                      "text/html; charset=utf-8");
      return;
    }
    res.set_header("Cache-Control", "no-store");
    SendFile(res, index);
  });
  http.Get(R"(/web/(.+))", [this](const httplib::Request& req, httplib::Response& res) {
    SendFile(res, FileBelow(options_.web_dir, req.matches[1]));
  });
  http.Get(R"(/three/(.+))", [this](const httplib::Request& req, httplib::Response& res) {
    SendFile(res, FileBelow(options_.three_dir, req.matches[1]));
  });

  http.Get("/api/state", [this](const httplib::Request& req, httplib::Response& res) {
    // Both parameters are snapshot versions.
    std::optional<std::int64_t> versions[2];
    const char* const kNames[2] = {"since", "have"};
    for (int i = 0; i < 2; ++i) {
      if (!req.has_param(kNames[i])) continue;
      try {
        versions[i] = std::stoll(req.get_param_value(kNames[i]));
      } catch (const std::exception&) {
        SendJson(res, 400,
                 {{"error", std::string(kNames[i]) + " is a snapshot version, a number"}});
        return;
      }
    }
    SendText(res, 200, session_.State(versions[0], kLongPollMs, versions[1]));
  });
  http.Post("/api/action", [this](const httplib::Request& req, httplib::Response& res) {
    json action = json::parse(req.body, nullptr, false);
    if (action.is_discarded()) {
      SendJson(res, 400, {{"error", "the action is not JSON"}});
      return;
    }
    const Reply reply = session_.Act(action);
    SendText(res, reply.status, reply.body);
  });
  http.Get("/api/mesh", [this](const httplib::Request&, httplib::Response& res) {
    const std::shared_ptr<const std::string> mesh = session_.Mesh(kMeshWaitMs);
    if (!mesh) {
      SendJson(res, 503, {{"error", "the host is busy; ask again"}});
      return;
    }
    res.set_header("Cache-Control", "no-store");
    res.set_content(*mesh, "application/octet-stream");
  });
  http.Get("/api/files", [this](const httplib::Request&, httplib::Response& res) {
    json files = json::array();
    for (const WrittenFile& f : session_.Files())
      files.push_back({{"name", f.name}, {"path", f.path}, {"size", f.size}});
    SendJson(res, 200, files);
  });
  http.Get("/api/file", [this](const httplib::Request& req, httplib::Response& res) {
    const std::string path = req.get_param_value("path");
    for (const WrittenFile& f : session_.Files()) {
      if (f.path != path) continue;
      res.set_header("Content-Disposition",
                     "attachment; filename*=UTF-8''" + PercentEncoded(f.name));
      res.set_content(ReadFile(f.path), ContentType(f.path));
      return;
    }
    SendJson(res, 404, {{"error", "no workbook of this run is " + path}});
  });
  http.Get("/api/browse", [](const httplib::Request& req, httplib::Response& res) {
    std::error_code ec;
    fs::path dir = req.has_param("dir") && !req.get_param_value("dir").empty()
                       ? fs::path(req.get_param_value("dir"))
                       : fs::current_path(ec);
    dir = fs::absolute(dir, ec).lexically_normal();
    if (!fs::is_directory(dir, ec)) {
      SendJson(res, 400, {{"error", dir.string() + " is not a folder"}});
      return;
    }
    std::vector<std::pair<std::string, bool>> entries;
    for (fs::directory_iterator it(dir, fs::directory_options::skip_permission_denied, ec), end;
         !ec && it != end; it.increment(ec)) {
      const std::string name = it->path().filename().string();
      if (name.empty() || name[0] == '.') continue;
      std::error_code e;
      entries.emplace_back(name, it->is_directory(e));
    }
    std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) {
      return a.second != b.second ? a.second : a.first < b.first;
    });
    json list = json::array();
    for (const auto& [name, is_dir] : entries) list.push_back({{"name", name}, {"dir", is_dir}});
    std::string text = dir.string();
    while (text.size() > 1 && text.back() == '/') text.pop_back();
    const fs::path parent = fs::path(text).parent_path();
    SendJson(res, 200,
             {{"dir", text},
              {"parent", parent.string() == text ? json(nullptr) : json(parent.string())},
              {"entries", list}});
  });
}

Server::~Server() { Stop(); }

int Server::Bind() {
  httplib::Server& http = impl_->http;
  if (options_.port == 0) {
    port_ = http.bind_to_any_port("127.0.0.1");
  } else if (http.bind_to_port("127.0.0.1", options_.port)) {
    port_ = options_.port;
  } else {
    port_ = -1;
  }
  if (port_ <= 0)
    throw std::runtime_error("cannot listen on 127.0.0.1:" + (options_.port
                                                                  ? std::to_string(options_.port)
                                                                  : std::string("a free port")));
  return port_;
}

bool Server::Run() { return impl_->http.listen_after_bind(); }

void Server::Stop() {
  if (impl_) impl_->http.stop();
}

std::string Server::Address() const {
  return "http://127.0.0.1:" + std::to_string(port_) + "/?t=" + options_.token;
}

}  // namespace studio
