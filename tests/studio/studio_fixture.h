// A studio on a copy of the sample die, served on 127.0.0.1 and driven over
// real HTTP with the run's token, as the page drives it.
#pragma once

#include <gtest/gtest.h>
#include <httplib.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include <unistd.h>

#include <nlohmann/json.hpp>

#include "cli/workspace.h"
#include "host/text.h"
#include "studio/server.h"
#include "studio/session.h"
#include "tests/support/scratch.h"

namespace studio_test {

namespace fs = std::filesystem;
using nlohmann::json;

// Sources are compiled to GBK; the studio speaks UTF-8.
inline std::string U(const char8_t* text) { return reinterpret_cast<const char*>(text); }

struct Answer {
  int status = 0;
  json body;
};

class StudioTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = test_support::ScratchFolder(
        std::string("studio_") + ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::copy_file(fs::path(DIEBOM_SAMPLE_DIE_DIR) / "sample_die.xbf", dir_ / "die.xbf");
    fs::copy_file(fs::path(DIEBOM_SAMPLE_DIE_DIR) / "sample_die.step", dir_ / "die.step");
    fs::create_directories(dir_ / "out");
  }

  void TearDown() override {
    if (session_) session_->Stop();
    if (server_) server_->Stop();
    if (serving_.joinable()) serving_.join();
    client_.reset();
    server_.reset();
    workspace_.reset();
    session_.reset();
  }

  // Opens `part` (empty: none) in a new studio and waits until it answers.
  void Start(const std::string& part) {
    studio::SessionOptions options;
    options.part = part;
    options.out_folder = P("out");
    session_ = std::make_unique<studio::Session>(options);
    workspace_ = std::make_unique<cli::Workspace>(session_->host(), DIEBOM_SAMPLE_CONFIG);
    session_->host().SetDesktopFolder(text::Utf8ToGbk(P("out")));
    studio::ServerOptions server_options;
    server_options.web_dir = (fs::path(DIEBOM_SOURCE) / "studio" / "web").string();
    server_ = std::make_unique<studio::Server>(*session_, server_options);
    port_ = server_->Bind();
    session_->Start();
    serving_ = std::thread([this] { server_->Run(); });
    client_ = std::make_unique<httplib::Client>("127.0.0.1", port_);
    client_->set_read_timeout(120, 0);
    client_->set_connection_timeout(5, 0);
    for (int i = 0; i < 200; ++i) {
      if (Get("/api/state").status == 200) return;
      ::usleep(25000);
    }
    FAIL() << "the studio did not answer";
  }

  httplib::Headers Token() const { return {{"X-Studio-Token", server_->token()}}; }

  Answer Get(const std::string& path, const httplib::Headers& headers) {
    auto res = client_->Get(path.c_str(), headers);
    if (!res) return {0, json()};
    return {res->status, json::parse(res->body, nullptr, false)};
  }
  Answer Get(const std::string& path) { return Get(path, Token()); }

  // One action of the tab `tab`.
  Answer Act(json action, const std::string& tab = "tab-1") {
    if (!action.contains("tab")) action["tab"] = tab;
    auto res = client_->Post("/api/action", Token(), action.dump(), "application/json");
    if (!res) return {0, json()};
    return {res->status, json::parse(res->body, nullptr, false)};
  }

  json State() { return Get("/api/state").body; }

  // Presses the first button of every box the plug-in shows, up to `limit`.
  json AnswerBoxes(json snapshot, int limit = 10) {
    for (int i = 0; i < limit && !snapshot["message"].is_null(); ++i) {
      const Answer a = Act({{"action", "answer"}, {"button", 1}});
      EXPECT_EQ(a.status, 200) << a.body.dump();
      snapshot = a.body;
    }
    return snapshot;
  }

  // The material BOM of the sample die with identical bodies grouped, as the
  // host's menu runs it: the options dialog, then the material dialog.
  json OpenMaterialBom() {
    Answer a = Act({{"action", "run-material"}});
    EXPECT_EQ(a.status, 200) << a.body.dump();
    EXPECT_EQ(a.body["dialogs"].back()["file"], "SetBomOption.dlx");
    a = Act(
        {{"action", "set"}, {"dialog", "SetBomOption.dlx"}, {"block", "toggle0"}, {"value", true}});
    EXPECT_EQ(a.status, 200) << a.body.dump();
    a = Act({{"action", "ok"}, {"dialog", "SetBomOption.dlx"}});
    EXPECT_EQ(a.status, 200) << a.body.dump();
    return AnswerBoxes(a.body);
  }

  std::string P(const std::string& name) const { return (dir_ / name).string(); }

  fs::path dir_;
  int port_ = 0;
  std::unique_ptr<studio::Session> session_;
  std::unique_ptr<cli::Workspace> workspace_;
  std::unique_ptr<studio::Server> server_;
  std::thread serving_;
  std::unique_ptr<httplib::Client> client_;
};

inline std::string UrlEncoded(const std::string& text) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : text) {
    if (std::isalnum(c) || c == '/' || c == '-' || c == '.' || c == '_') {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 15];
    }
  }
  return out;
}

// The block with the id in a dialog of the snapshot, at any depth.
inline const json* FindBlock(const json& blocks, const std::string& id) {
  for (const json& b : blocks) {
    if (b["id"] == id) return &b;
    if (b.contains("children"))
      if (const json* found = FindBlock(b["children"], id)) return found;
  }
  return nullptr;
}

inline json Block(const json& snapshot, const std::string& file, const std::string& id) {
  for (const json& d : snapshot["dialogs"]) {
    if (d["file"] != file) continue;
    if (const json* b = FindBlock(d["blocks"], id)) return *b;
  }
  ADD_FAILURE() << "no block " << id << " of " << file << " in the snapshot";
  return json::object();
}

inline json MaterialRows(const json& snapshot) {
  return Block(snapshot, "ExportMaterialBom.dlx", "tree_control0")["rows"];
}

}  // namespace studio_test
