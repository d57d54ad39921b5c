// The studio served on 127.0.0.1 and driven over HTTP as the page drives it,
// on copies of the sample die.
#include <cstdio>
#include <cstring>
#include <functional>
#include <set>
#include <sstream>

#include "tests/studio/studio_fixture.h"

namespace studio_test {
namespace {

// The workbook's first sheet as text, read by xlrd: one line per row, cells
// separated by tabs.
std::string ReadWithXlrd(const std::string& path) {
  const std::string command =
      "PYTHONIOENCODING=utf-8 /usr/bin/python3 -c \"import sys, xlrd\n"
      "s = xlrd.open_workbook(sys.argv[1]).sheet_by_index(0)\n"
      "for r in range(s.nrows): print('\\t'.join(str(c.value) for c in s.row(r)))\" '" +
      path + "'";
  std::string out;
  if (FILE* pipe = ::popen(command.c_str(), "r")) {
    char buffer[4096];
    std::size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
    ::pclose(pipe);
  }
  return out;
}

// Column texts of the top rows: 序号, 名称, 代号, 数量.
std::vector<std::string> RowSummaries(const json& rows) {
  std::vector<std::string> out;
  for (const json& r : rows) {
    const json& t = r["texts"];
    out.push_back(t["0"].get<std::string>() + " " + t["1"].get<std::string>() + " " +
                  t["2"].get<std::string>() + " x" + t["5"].get<std::string>());
  }
  return out;
}

class MaterialBomTest : public StudioTest {
 protected:
  // The BOM header, which every command that stores the rows needs.
  void FillHeader() {
    const std::vector<std::pair<std::string, std::string>> header = {
        {"string03", "SO-2026-118"},
        {"string02", "ERP-40017"},
        {"string031", "SPCC"},
        {"string01", "PD24-001"},
        {"string032", "80T"},
        {"string033", "BR-2231"},
        {"string0", U(u8"华锐汽车部件")},
        {"string034", "0.8"},
        {"string035", U(u8"连续模")},
        {"string036", U(u8"张伟")},
        {"string04", U(u8"后座椅安装支架")}};
    for (const auto& [block, value] : header) {
      const Answer a = Act({{"action", "set"}, {"block", block}, {"value", value}});
      ASSERT_EQ(a.status, 200) << block << ": " << a.body["error"];
    }
  }
};

TEST_F(StudioTest, RequestsWithoutTheTokenOrFromAnotherSiteAreRefused) {
  Start(P("die.xbf"));
  const std::string port = std::to_string(port_);
  EXPECT_EQ(Get("/api/state", {}).status, 403);
  EXPECT_EQ(Get("/api/state", {{"X-Studio-Token", "0123"}}).status, 403);
  std::string wrong = server_->token();
  wrong[0] = wrong[0] == 'a' ? 'b' : 'a';
  EXPECT_EQ(Get("/api/state?t=" + wrong, {}).status, 403);
  EXPECT_EQ(Get("/api/state?t=" + server_->token(), {}).status, 200) << "the token in the query";
  EXPECT_EQ(Get("/", {}).status, 403) << "the page itself needs the token";

  // DNS rebinding and cross-site requests.
  httplib::Headers h = Token();
  h.emplace("Host", "evil.example:" + port);
  EXPECT_EQ(Get("/api/state", h).status, 403);
  h = Token();
  h.emplace("Origin", "http://evil.example");
  EXPECT_EQ(Get("/api/state", h).status, 403);
  h = Token();
  h.emplace("Origin", "http://localhost:" + port);
  EXPECT_EQ(Get("/api/state", h).status, 200);
  h = Token();
  h.emplace("Sec-Fetch-Site", "cross-site");
  EXPECT_EQ(Get("/api/state", h).status, 403);
  auto post = client_->Post("/api/action", {{"Origin", "http://evil.example"}},
                            R"({"tab": "x", "action": "run-material"})", "application/json");
  ASSERT_TRUE(post);
  EXPECT_EQ(post->status, 403);
  EXPECT_TRUE(State()["running"].is_null()) << "the refused request ran nothing";

  // Files: only those below the page's folders and the workbooks of the run.
  EXPECT_EQ(Get("/three/build/three.min.js").status, 200);
  auto up = client_->Get("/web/../../../etc/passwd", Token());
  ASSERT_TRUE(up);
  EXPECT_NE(up->status, 200);
  EXPECT_EQ(Get("/api/file?path=/etc/passwd").status, 404);
  const Answer browse = Get("/api/browse?dir=" + dir_.string());
  ASSERT_EQ(browse.status, 200);
  std::set<std::string> names;
  for (const json& e : browse.body["entries"]) names.insert(e["name"].get<std::string>());
  EXPECT_EQ(names, (std::set<std::string>{"die.step", "die.xbf", "out"}));
  EXPECT_EQ(Get("/api/browse?dir=" + P("die.xbf")).status, 400);
}

TEST_F(StudioTest, OneTabActsAtATimeAndActionsThatDoNotFitAreRefused) {
  Start(P("die.xbf"));
  ASSERT_EQ(Act({{"action", "run-material"}}, "tab-a").status, 200);

  // A second tab reads the same state but may not act until it takes over.
  Answer b = Act({{"action", "cancel"}, {"dialog", "SetBomOption.dlx"}}, "tab-b");
  EXPECT_EQ(b.status, 409);
  EXPECT_EQ(b.body["acting_tab"], "tab-a");
  EXPECT_EQ(b.body["dialogs"].back()["file"], "SetBomOption.dlx") << "nothing happened";
  b = Act({{"action", "take-over"}}, "tab-b");
  EXPECT_EQ(b.status, 200);
  EXPECT_EQ(b.body["acting_tab"], "tab-b");
  EXPECT_EQ(Act({{"action", "set"}, {"block", "toggle0"}, {"value", true}}, "tab-a").status, 409);

  // Bad requests: not JSON, no tab, no such action, an action meant for
  // another waiting point, a dialog that is no longer in front.
  auto res = client_->Post("/api/action", Token(), "{not json", "application/json");
  ASSERT_TRUE(res);
  EXPECT_EQ(res->status, 400);
  EXPECT_EQ(Act({{"action", "ok"}, {"tab", ""}}).status, 400);
  EXPECT_EQ(Act({{"action", "fly"}}, "tab-b").status, 400);
  const std::int64_t version = State()["version"];
  Answer wrong = Act({{"action", "answer"}, {"button", 1}}, "tab-b");
  EXPECT_EQ(wrong.status, 409);
  EXPECT_NE(wrong.body["error"].get<std::string>().find("waits for a dialog"), std::string::npos);
  wrong = Act({{"action", "ok"}, {"dialog", "ExportMaterialBom.dlx"}}, "tab-b");
  EXPECT_EQ(wrong.status, 409);
  EXPECT_EQ(wrong.body["dialogs"].back()["file"], "SetBomOption.dlx");

  // Faults of the action itself: 400 with the engine's words, nothing changes.
  Answer fault = Act({{"action", "set"}, {"block", "no_such_block"}, {"value", true}}, "tab-b");
  EXPECT_EQ(fault.status, 400);
  EXPECT_NE(fault.body["error"].get<std::string>().find("no_such_block"), std::string::npos);
  fault = Act({{"action", "set"}, {"block", "enum0"}, {"value", 7}}, "tab-b");
  EXPECT_EQ(fault.status, 400);
  fault = Act({{"action", "set"}, {"block", "toggle0"}, {"value", "yes"}}, "tab-b");
  EXPECT_EQ(fault.status, 400);
  EXPECT_EQ(fault.body["error"], "\"value\" of the action \"set\" has the wrong type");
  const json now = State();
  EXPECT_EQ(Block(now, "SetBomOption.dlx", "toggle0")["value"], false);
  EXPECT_EQ(Block(now, "SetBomOption.dlx", "enum0")["value"], 0);
  EXPECT_GE(now["version"].get<std::int64_t>(), version);

  // The window's commands wait until nothing runs; a cancelled options
  // dialog ends the run.
  EXPECT_EQ(Act({{"action", "open"}, {"path", P("die.step")}}, "tab-b").status, 409);
  const Answer cancelled = Act({{"action", "cancel"}, {"dialog", "SetBomOption.dlx"}}, "tab-b");
  EXPECT_EQ(cancelled.status, 200);
  EXPECT_TRUE(cancelled.body["running"].is_null());
  EXPECT_TRUE(cancelled.body["dialogs"].empty());
}

TEST_F(MaterialBomTest, TheMaterialBomRunsThroughItsDialogsAsOnTheHost) {
  Start(P("die.xbf"));
  json s = OpenMaterialBom();
  ASSERT_EQ(s["dialogs"].size(), 1u);
  EXPECT_EQ(s["dialogs"][0]["file"], "ExportMaterialBom.dlx");
  EXPECT_EQ(s["running"], "material");
  const json rows = MaterialRows(s);
  EXPECT_EQ(
      RowSummaries(rows),
      (std::vector<std::string>{
          U(u8"001 上模座 UB-01 x1"), U(u8"002 上垫板 UP-01 x1"), U(u8"003 上夹板 PH-01 x1"),
          U(u8"004 脱料板 SP-01 x1"), U(u8"005 下模板 DP-01 x1"), U(u8"006 下垫板 LP-01 x1"),
          U(u8"007 下模座 LB-01 x1"), U(u8"008 入子 IN-01 x3"), U(u8"009 入子 IN-02 x1"),
          U(u8"010 冲头 PU-01 x2"), U(u8"011 冲头 PU-02 x3"), U(u8"012 冲头 PU-03 x2"),
          U(u8"013 止挡板 BP-01 x1"), U(u8"014 上垫脚 UF-01 x2"), U(u8"015 下垫脚 LF-01 x2"),
          U(u8"016 限位块 ST-01 x4"), U(u8"017 限位块 ST-02 x1"), U(u8"018 导料板 GP-01 x2")}));
  EXPECT_EQ(rows[7]["children"].size(), 3u) << "three identical inserts under one code";
  EXPECT_EQ(rows[7]["children"][1]["path"], "7.1");
  const json tree = Block(s, "ExportMaterialBom.dlx", "tree_control0");
  ASSERT_EQ(tree["columns"].size(), 20u);
  EXPECT_EQ(tree["columns"][3]["title"], U(u8"材质"));

  // An exception in a handler is the plug-in's own: its message box, and the
  // dialog goes on. (The allowance button with no row chosen.)
  Answer a = Act({{"action", "press"}, {"block", "button0"}});
  ASSERT_EQ(a.status, 200);
  ASSERT_FALSE(a.body["message"].is_null());
  EXPECT_EQ(a.body["message"]["title"], U(u8"材料BOM"));
  EXPECT_EQ(a.body["message"]["type"], 0);
  EXPECT_EQ(a.body["message"]["lines"], json::array({U(u8"请先在清单中双击需要设置余量的实体")}));
  EXPECT_EQ(a.body["message"]["buttons"], json::array({U(u8"确定")}));
  a = Act({{"action", "answer"}, {"button", 2}});
  EXPECT_EQ(a.status, 400) << "an error box has one button";
  a = Act({{"action", "answer"}, {"button", 1}});
  ASSERT_EQ(a.status, 200);
  EXPECT_TRUE(a.body["message"].is_null());
  EXPECT_EQ(a.body["dialogs"].size(), 1u);

  // The name is chosen from the cell's list; the remark is typed.
  a = Act({{"action", "editor"}, {"tree", "tree_control0"}, {"row", "0"}, {"col", 1}});
  ASSERT_EQ(a.status, 200) << a.body.dump();
  EXPECT_EQ(a.body["editor"]["control"], "list");
  EXPECT_EQ(a.body["editor"]["can_edit"], false);
  const std::vector<std::string> names = a.body["editor"]["options"];
  ASSERT_GT(names.size(), 2u);
  EXPECT_EQ(names[a.body["editor"]["selected"].get<int>()], U(u8"上模座"));
  const auto plate = std::find(names.begin(), names.end(), U(u8"上垫板"));
  ASSERT_NE(plate, names.end());
  a = Act({{"action", "option"},
           {"tree", "tree_control0"},
           {"row", "0"},
           {"col", 1},
           {"index", plate - names.begin()}});
  ASSERT_EQ(a.status, 200) << a.body.dump();
  EXPECT_EQ(a.body["accepted"], true);
  EXPECT_EQ(MaterialRows(a.body)[0]["texts"]["1"], U(u8"上垫板"));
  a = Act({{"action", "editor"}, {"tree", "tree_control0"}, {"row", "0"}, {"col", 8}});
  EXPECT_EQ(a.body["editor"]["control"], "none");
  EXPECT_EQ(a.body["editor"]["can_edit"], true);
  a = Act({{"action", "edit"},
           {"tree", "tree_control0"},
           {"row", "0"},
           {"col", 8},
           {"text", U(u8"加急（三天）")}});
  ASSERT_EQ(a.status, 200) << a.body.dump();
  EXPECT_EQ(a.body["accepted"], true);
  EXPECT_EQ(MaterialRows(a.body)[0]["texts"]["8"], U(u8"加急（三天）"));

  // A material chosen from the cell's list: heat treatment and process follow.
  a = Act({{"action", "editor"}, {"tree", "tree_control0"}, {"row", "1"}, {"col", 3}});
  ASSERT_EQ(a.status, 200);
  EXPECT_EQ(a.body["editor"]["control"], "list");
  const std::vector<std::string> options = a.body["editor"]["options"];
  const auto skd11 = std::find(options.begin(), options.end(), "SKD11");
  ASSERT_NE(skd11, options.end());
  a = Act({{"action", "option"},
           {"tree", "tree_control0"},
           {"row", "1"},
           {"col", 3},
           {"index", skd11 - options.begin()}});
  ASSERT_EQ(a.status, 200) << a.body.dump();
  const json second = MaterialRows(a.body)[1]["texts"];
  EXPECT_EQ(second["3"], "SKD11");
  EXPECT_EQ(second["7"], U(u8"真空淬火HRC60-62"));
  EXPECT_EQ(second["16"], U(u8"CNC开粗-热处理-磨床-慢丝"));

  // Quotes, backslashes and line breaks in a cell come back as typed.
  a = Act({{"action", "edit"},
           {"tree", "tree_control0"},
           {"row", "2"},
           {"col", 8},
           {"text", U(u8"引号\"与\\反斜杠\t")}});
  ASSERT_EQ(a.status, 200);
  EXPECT_EQ(MaterialRows(a.body)[2]["texts"]["8"], U(u8"引号\"与\\反斜杠\t"));

  // A stale row is the action's own fault; nothing changes.
  a = Act({{"action", "click"}, {"tree", "tree_control0"}, {"row", "99"}});
  EXPECT_EQ(a.status, 400);
  EXPECT_EQ(a.body["error"], "tree \"tree_control0\" has no row 99");
  a = Act({{"action", "edit"},
           {"tree", "tree_control0"},
           {"row", "0"},
           {"col", 8},
           {"text", U(u8"备注\xF0\x9F\x98\x80")}});
  EXPECT_EQ(a.status, 400) << "a character GBK cannot write";
  EXPECT_EQ(MaterialRows(State())[0]["texts"]["8"], U(u8"加急（三天）"));

  // The context menu comes from the handler.
  a = Act({{"action", "click"}, {"tree", "tree_control0"}, {"row", "2"}, {"col", 1}});
  ASSERT_EQ(a.status, 200);
  EXPECT_TRUE(MaterialRows(a.body)[2]["selected"]);
  // The selected row's body is highlighted in the view.
  int highlighted = 0;
  for (const json& body : a.body["bodies"]) {
    if (!body["highlighted"].get<bool>()) continue;
    ++highlighted;
    EXPECT_EQ(body["name"], U(u8"上夹板"));
    EXPECT_EQ(body["selected"], true);
  }
  EXPECT_EQ(highlighted, 1);
  a = Act({{"action", "menu"}, {"tree", "tree_control0"}, {"row", "2"}, {"col", 1}});
  ASSERT_EQ(a.status, 200);
  std::vector<std::string> menu;
  for (const json& e : a.body["menu"]) menu.push_back(e["text"]);
  EXPECT_EQ(menu, (std::vector<std::string>{U(u8"隐藏"), U(u8"显示"), U(u8"设置余量")}));

  // A double-click opens the allowance dialog on top; its hidden block
  // refuses a value; OK closes it and the material dialog is in front again.
  a = Act({{"action", "double-click"}, {"tree", "tree_control0"}, {"row", "0"}, {"col", 0}});
  ASSERT_EQ(a.status, 200) << a.body.dump();
  ASSERT_EQ(a.body["dialogs"].size(), 2u);
  EXPECT_EQ(a.body["dialogs"][1]["file"], "SetBoOffset.dlx");
  a = Act({{"action", "set"}, {"dialog", "SetBoOffset.dlx"}, {"block", "double0"}, {"value", 2.0}});
  EXPECT_EQ(a.status, 400);
  EXPECT_NE(a.body["error"].get<std::string>().find("hidden"), std::string::npos);
  a = Act(
      {{"action", "set"}, {"dialog", "SetBoOffset.dlx"}, {"block", "double05"}, {"value", 1.5}});
  ASSERT_EQ(a.status, 200) << a.body.dump();
  a = Act({{"action", "ok"}, {"dialog", "SetBoOffset.dlx"}});
  ASSERT_EQ(a.status, 200) << a.body["error"];
  // The allowance gives the body a new blank system: the coordinate-system
  // input asks for it.
  ASSERT_EQ(a.body["csys"]["title"], U(u8"指定坐标系"));
  EXPECT_EQ(
      Act({{"action", "csys-input"}, {"origin", {0, 0, 0}}, {"x", {1, 0, 0}}, {"y", {2, 0, 0}}})
          .status,
      400)
      << "parallel directions make no system";
  a = Act({{"action", "csys-input"}, {"origin", {0, 0, 0}}, {"x", {1, 0, 0}}, {"y", {0, 1, 0}}});
  ASSERT_EQ(a.status, 200) << a.body["error"];
  s = AnswerBoxes(a.body);
  ASSERT_EQ(s["dialogs"].size(), 1u);
  EXPECT_EQ(MaterialRows(s)[0]["texts"]["19"], "0.000_0.000_0.000_0.000_1.500");

  // The header, then the export: the workbook holds the edits.
  FillHeader();
  a = Act({{"action", "press"}, {"block", "button01"}});
  ASSERT_EQ(a.status, 200);
  EXPECT_EQ(a.body["message"]["type"], 3) << "the export asks about the numbering first";
  s = AnswerBoxes(a.body);
  const Answer files = Get("/api/files");
  ASSERT_EQ(files.status, 200);
  ASSERT_EQ(files.body.size(), 1u) << s.dump();
  const std::string workbook = files.body[0]["path"];
  EXPECT_EQ(files.body[0]["name"], U(u8"die材料BOM.xls"));
  EXPECT_EQ(fs::path(workbook).parent_path().parent_path(), fs::path(P("out")));
  auto download = client_->Get(("/api/file?path=" + UrlEncoded(workbook)).c_str(), Token());
  ASSERT_TRUE(download);
  EXPECT_EQ(download->status, 200);
  EXPECT_EQ(download->body.size(), fs::file_size(workbook));
  const std::string sheet = ReadWithXlrd(workbook);
  EXPECT_NE(sheet.find(U(u8"加急（三天）")), std::string::npos) << sheet;
  EXPECT_NE(sheet.find(U(u8"华锐汽车部件")), std::string::npos);

  // Closing the dialog ends the run.
  a = Act({{"action", "close"}, {"dialog", "ExportMaterialBom.dlx"}});
  s = AnswerBoxes(a.body);
  EXPECT_TRUE(s["running"].is_null());
  EXPECT_TRUE(s["dialogs"].empty());
}

// The page's copy of the snapshot after an answer that carries only changes:
// the kept sections from `held`, the rest from the answer, the patched rows
// put in place by their paths.
json Merged(const json& held, const json& answer) {
  json out = answer;
  for (const json& key : answer["keep"]) out[key.get<std::string>()] = held[key.get<std::string>()];
  for (const json& patch : answer.value("rows_patch", json::array())) {
    json& dialog = out["dialogs"][patch["dialog"].get<std::size_t>()];
    std::function<json*(json&)> find = [&](json& blocks) -> json* {
      for (json& b : blocks) {
        if (b["id"] == patch["tree"]) return &b;
        if (b.contains("children"))
          if (json* found = find(b["children"])) return found;
      }
      return nullptr;
    };
    json* tree = find(dialog["blocks"]);
    if (!tree) return json();
    for (const json& row : patch["rows"]) {
      json* at = &(*tree)["rows"];
      std::stringstream path(row["path"].get<std::string>());
      std::string index;
      json* target = nullptr;
      while (std::getline(path, index, '.')) {
        target = &(*at)[std::stoul(index)];
        at = &(*target)["children"];
      }
      for (auto it = row.begin(); it != row.end(); ++it) (*target)[it.key()] = it.value();
    }
  }
  for (const char* key : {"base", "keep", "rows_patch"}) out.erase(key);
  return out;
}

TEST_F(MaterialBomTest, AnswersCarryOnlyWhatChangedAfterThePagesVersion) {
  Start(P("die.xbf"));
  OpenMaterialBom();
  json held = State();
  ASSERT_FALSE(held.contains("base")) << "without \"have\", the whole snapshot";

  // A typed remark: the one row comes back, the bodies and blanks are kept.
  Answer a = Act({{"action", "editor"},
                  {"tree", "tree_control0"},
                  {"row", "2"},
                  {"col", 8},
                  {"have", held["version"]}});
  ASSERT_EQ(a.status, 200) << a.body.dump();
  held = Merged(held, a.body);
  a = Act({{"action", "edit"},
           {"tree", "tree_control0"},
           {"row", "2"},
           {"col", 8},
           {"text", U(u8"外协")},
           {"have", held["version"]}});
  ASSERT_EQ(a.status, 200) << a.body.dump();
  EXPECT_EQ(a.body["accepted"], true);
  EXPECT_EQ(a.body["base"], held["version"]);
  const std::vector<std::string> keep = a.body["keep"];
  for (const char* key : {"dialogs", "bodies", "blanks", "systems"})
    EXPECT_NE(std::find(keep.begin(), keep.end(), key), keep.end()) << key;
  ASSERT_EQ(a.body["rows_patch"].size(), 1u) << a.body["rows_patch"].dump();
  const json& patch = a.body["rows_patch"][0];
  EXPECT_EQ(patch["dialog"], 0);
  EXPECT_EQ(patch["tree"], "tree_control0");
  ASSERT_EQ(patch["rows"].size(), 1u);
  EXPECT_EQ(patch["rows"][0]["path"], "2");
  EXPECT_EQ(patch["rows"][0]["texts"]["8"], U(u8"外协"));
  EXPECT_FALSE(patch["rows"][0].contains("children"));
  held = Merged(held, a.body);
  json full = State();
  held.erase("accepted");
  EXPECT_EQ(held, full) << "the page's copy is the snapshot";

  // The dialog closing changes the dialogs' shape: they come whole.
  a = Act({{"action", "cancel"}, {"have", full["version"]}});
  ASSERT_EQ(a.status, 200) << a.body.dump();
  a.body = AnswerBoxes(a.body);
  EXPECT_TRUE(a.body["dialogs"].empty());
  EXPECT_FALSE(a.body.contains("rows_patch"));

  // The long poll the same way; a version the server never gave, or a
  // version that is not a number, gets the whole snapshot or a refusal.
  full = State();
  const Answer same = Get("/api/state?have=" + std::to_string(full["version"].get<int>()));
  EXPECT_EQ(same.body["keep"].size(), 13u) << same.body.dump();
  EXPECT_FALSE(Get("/api/state?have=999999").body.contains("base"));
  EXPECT_EQ(Get("/api/state?have=new").status, 400);
  EXPECT_EQ(Act({{"action", "run-parts"}, {"have", "new"}}).status, 400);
}

TEST_F(StudioTest, APartThatCannotBeReadIsSaidAndTheStudioGoesOn) {
  { std::ofstream(P("broken.xbf"), std::ios::binary) << "not a part file at all"; }
  Start(P("broken.xbf"));
  json s = State();
  ASSERT_TRUE(s["error"].is_string());
  EXPECT_NE(s["error"].get<std::string>().find("broken.xbf"), std::string::npos) << s["error"];
  EXPECT_TRUE(s["part"].is_null());
  EXPECT_TRUE(s["bodies"].empty());

  Answer a = Act({{"action", "open"}, {"path", P("die.step")}});
  ASSERT_EQ(a.status, 200);
  EXPECT_TRUE(a.body["error"].is_null());
  EXPECT_EQ(a.body["part"]["name"], "die");
  EXPECT_EQ(a.body["bodies"].size(), 61u);

  // A file that is not there, or no file named: the part stays open.
  a = Act({{"action", "open"}, {"path", P("missing.step")}});
  ASSERT_EQ(a.status, 200);
  EXPECT_NE(a.body["error"].get<std::string>().find("missing.step"), std::string::npos);
  EXPECT_EQ(a.body["bodies"].size(), 61u);
  EXPECT_EQ(Act({{"action", "open"}}).status, 400);
  EXPECT_EQ(Act({{"action", "save"}, {"path", P("die.step")}}).status, 400);
  a = Act({{"action", "save"}, {"path", P("nofolder/die.xbf")}});
  EXPECT_NE(a.body["error"].get<std::string>().find("nofolder"), std::string::npos);
  EXPECT_FALSE(fs::exists(P("nofolder")));
}

TEST_F(MaterialBomTest, ASavedPartFileOpensAgainWithItsEdits) {
  Start(P("die.xbf"));
  json s = OpenMaterialBom();
  ASSERT_EQ(MaterialRows(s).size(), 18u);
  FillHeader();
  // The name from the cell's list and a typed remark are kept on the body.
  Answer a = Act({{"action", "editor"}, {"tree", "tree_control0"}, {"row", "3"}, {"col", 1}});
  const std::vector<std::string> offered = a.body["editor"]["options"];
  const auto stop = std::find(offered.begin(), offered.end(), U(u8"止挡板"));
  ASSERT_NE(stop, offered.end());
  a = Act({{"action", "option"},
           {"tree", "tree_control0"},
           {"row", "3"},
           {"col", 1},
           {"index", stop - offered.begin()}});
  ASSERT_EQ(a.status, 200);
  ASSERT_EQ(a.body["accepted"], true);
  a = Act({{"action", "edit"},
           {"tree", "tree_control0"},
           {"row", "3"},
           {"col", 8},
           {"text", U(u8"外协")}});
  ASSERT_EQ(a.body["accepted"], true);
  // Reordering stores every row on the bodies; the part is then saved while
  // the dialog is open, over the part file it came from.
  a = Act({{"action", "press"}, {"block", "button0611"}});
  ASSERT_EQ(a.status, 200);
  EXPECT_EQ(a.body["message"]["type"], 3) << "reordering asks first";
  s = AnswerBoxes(a.body);
  EXPECT_EQ(MaterialRows(s)[3]["texts"]["1"], U(u8"止挡板"));
  a = Act({{"action", "save"}});
  ASSERT_EQ(a.status, 200);
  EXPECT_TRUE(a.body["error"].is_null()) << a.body["error"];
  EXPECT_EQ(a.body["part"]["path"], P("die.xbf"));
  EXPECT_EQ(a.body["part"]["modified"], false);
  s = AnswerBoxes(Act({{"action", "close"}}).body);
  ASSERT_TRUE(s["running"].is_null());
  std::set<std::string> names;
  for (const auto& e : fs::directory_iterator(dir_)) names.insert(e.path().filename().string());
  EXPECT_EQ(names, (std::set<std::string>{"die.step", "die.xbf", "out"})) << "no half-written file";

  a = Act({{"action", "open"}, {"path", P("die.xbf")}});
  ASSERT_TRUE(a.body["error"].is_null());
  s = OpenMaterialBom();
  const json rows = MaterialRows(s);
  ASSERT_EQ(rows.size(), 18u);
  EXPECT_EQ(rows[3]["texts"]["1"], U(u8"止挡板"));
  EXPECT_EQ(rows[3]["texts"]["8"], U(u8"外协"));
  EXPECT_EQ(rows[3]["texts"]["2"], "SP-01");
}

TEST_F(StudioTest, TheMeshHoldsEveryBodyWithOutwardTrianglesAndIsMadeOnce) {
  Start(P("die.xbf"));
  const json s = State();
  auto res = client_->Get(
      ("/api/mesh?v=" + std::to_string(s["mesh_version"].get<int>()) + "&t=" + server_->token())
          .c_str());
  ASSERT_TRUE(res);
  ASSERT_EQ(res->status, 200);
  const std::string& b = res->body;
  std::size_t at = 0;
  auto u32 = [&]() {
    std::uint32_t v = 0;
    EXPECT_LE(at + 4, b.size());
    if (at + 4 <= b.size()) std::memcpy(&v, b.data() + at, 4);
    at += 4;
    return v;
  };
  auto f32 = [&]() {
    const std::uint32_t bits = u32();
    float f;
    std::memcpy(&f, &bits, 4);
    return f;
  };
  const std::uint32_t count = u32();
  ASSERT_EQ(count, 61u);
  std::vector<std::uint32_t> tags;
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint32_t tag = u32(), vertices = u32(), indices = u32();
    tags.push_back(tag);
    ASSERT_GT(vertices, 0u) << "body " << tag;
    ASSERT_EQ(indices % 3, 0u);
    std::vector<float> positions(3 * vertices);
    for (float& p : positions) p = f32();
    for (std::uint32_t v = 0; v < vertices; ++v) {
      const float x = f32(), y = f32(), z = f32();
      EXPECT_NEAR(x * x + y * y + z * z, 1.0, 1e-4) << "unit normals";
    }
    std::uint32_t largest = 0;
    for (std::uint32_t k = 0; k < indices; ++k) largest = std::max(largest, u32());
    EXPECT_LT(largest, vertices);
    if (i == 0) {
      // The first body is a plain block: 6 faces of 4 corners, 2 triangles each.
      EXPECT_EQ(vertices, 24u);
      EXPECT_EQ(indices, 36u);
    }
  }
  EXPECT_EQ(b.substr(at, 4), "FACE") << "the face section after the last body";
  std::vector<std::uint32_t> in_snapshot;
  for (const json& body : s["bodies"]) in_snapshot.push_back(body["tag"]);
  EXPECT_EQ(tags, in_snapshot);

  // The same geometry is not tessellated again: the second answer is the
  // same buffer, and a colour change needs no new mesh.
  auto again = client_->Get("/api/mesh", Token());
  ASSERT_TRUE(again);
  EXPECT_EQ(again->body, b);
  EXPECT_EQ(State()["mesh_version"], s["mesh_version"]);
}

TEST_F(MaterialBomTest, ARevisionOpensWithThePreviousBomCarriedOver) {
  // The previous revision: the die as one material BOM left it, saved.
  Start(P("die.xbf"));
  json s = OpenMaterialBom();
  ASSERT_EQ(s["dialogs"].back()["file"], "ExportMaterialBom.dlx");
  s = AnswerBoxes(Act({{"action", "cancel"}, {"dialog", "ExportMaterialBom.dlx"}}).body);
  ASSERT_TRUE(s["dialogs"].empty()) << s.dump();
  ASSERT_EQ(Act({{"action", "save"}, {"path", P("old.xbf")}}).status, 200);

  // The new model from elsewhere, attributes lost: every body found again.
  Answer a = Act({{"action", "open"}, {"path", P("die.step")}, {"previous", P("old.xbf")}});
  ASSERT_EQ(a.status, 200);
  EXPECT_TRUE(a.body["error"].is_null()) << a.body["error"];
  EXPECT_NE(a.body["listing"].get<std::string>().find(
                "old.xbf: unchanged 61, moved 0, changed 0, new 0, removed 0"),
            std::string::npos)
      << a.body["listing"];

  // A previous revision that is no part file: said, the new part stays as read.
  a = Act({{"action", "open"}, {"path", P("die.step")}, {"previous", P("die.step")}});
  ASSERT_EQ(a.status, 200);
  ASSERT_TRUE(a.body["error"].is_string());
  EXPECT_NE(a.body["error"].get<std::string>().find("die.step"), std::string::npos);
  EXPECT_EQ(a.body["bodies"].size(), 61u);
  EXPECT_EQ(Act({{"action", "open"}, {"path", P("die.step")}, {"previous", 7}}).status, 400);
}

}  // namespace
}  // namespace studio_test
