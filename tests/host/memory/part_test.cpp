// Attributes, layers, coordinate systems, objects and undo of the work part,
// and the scripted message boxes.
#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

#include "host/memory/dialogs/dialogs.h"
#include "host/memory/memory_host.h"

namespace {

using host::Tag;
using memory::MemoryHost;
using memory::Shape;

TEST(MemoryPart, AttributesByTitleOnAnyObject) {
  MemoryHost h;
  const Tag body = h.AddBody(Shape::Box(1, 1, 1));
  const Tag part = h.session().WorkPart();
  auto& attrs = h.attributes();
  attrs.SetString(body, "材料代号", "UB-01");
  attrs.SetString(body, "材料名称", "上模座");
  attrs.SetString(body, "材料代号", "UB-02");  // overwrites by title
  EXPECT_TRUE(attrs.Has(body, "材料代号", host::kAnyAttribute));
  EXPECT_FALSE(attrs.Has(body, "材料代号", 3));  // an integer attribute of that title: none
  EXPECT_EQ(attrs.GetString(body, "材料代号"), "UB-02");
  EXPECT_EQ(attrs.Read(body, "没有").type, 0);
  EXPECT_THROW(attrs.GetString(body, "没有"), host::HostError);
  EXPECT_EQ(attrs.List(body).size(), 2u);
  attrs.Delete(body, host::kStringAttribute, "材料代号");
  EXPECT_FALSE(attrs.Has(body, "材料代号"));
  attrs.SetString(part, "设计担当", "张工");
  attrs.DeleteAll(part, host::kStringAttribute);
  EXPECT_TRUE(attrs.List(part).empty());
  EXPECT_THROW(attrs.SetString(body, "", "x"), host::HostError);
  EXPECT_THROW(attrs.SetString(9999, "a", "x"), host::HostError);
}

TEST(MemoryPart, LayerStatusAndStateAreOneSettingInTwoCodings) {
  MemoryHost h;
  auto& layers = h.layers();
  EXPECT_EQ(layers.WorkLayer(), 1);
  EXPECT_EQ(layers.AskStatus(1), host::kStatusWork);
  EXPECT_EQ(layers.GetState(1), host::LayerState::WorkLayer);
  EXPECT_EQ(layers.AskStatus(10), host::kStatusSelectable);
  EXPECT_EQ(layers.GetState(10), host::LayerState::Selectable);
  ASSERT_EQ(layers.SetStatus(10, host::kStatusVisibleOnly), 0);
  EXPECT_EQ(layers.GetState(10), host::LayerState::Visible);
  layers.SetState(10, host::LayerState::Hidden);
  EXPECT_EQ(layers.AskStatus(10), host::kStatusHidden);
  // Making a layer the work layer leaves the old one selectable.
  layers.SetState(20, host::LayerState::WorkLayer);
  EXPECT_EQ(layers.WorkLayer(), 20);
  EXPECT_EQ(layers.AskStatus(1), host::kStatusSelectable);
  EXPECT_NE(layers.SetStatus(20, host::kStatusHidden), 0);
  EXPECT_THROW(layers.SetState(20, host::LayerState::Hidden), host::HostError);
  EXPECT_NE(layers.SetStatus(257, 2), 0);
  EXPECT_THROW(layers.GetState(0), host::HostError);
  ASSERT_EQ(layers.SetAllButWork(host::kStatusHidden), 0);
  EXPECT_EQ(layers.AskStatus(256), host::kStatusHidden);
  EXPECT_EQ(layers.AskStatus(20), host::kStatusWork);
}

TEST(MemoryPart, ObjectsOnALayerLeaveOutTemporarySystems) {
  MemoryHost h;
  const Tag a = h.AddBody(Shape::Box(1, 1, 1), 30, 6);
  const Tag b = h.AddBody(Shape::Box(1, 1, 1), 40);
  h.objects().SetLayer(b, 30);
  const Tag temp = h.csys().CreateTempCsys({}, h.csys().CreateMatrix({}));
  const Tag perm = h.csys().CreateCsys({}, h.csys().CreateMatrix({}));
  h.objects().SetLayer(temp, 30);
  h.objects().SetLayer(perm, 30);
  EXPECT_EQ(h.layers().ObjectsOnLayer(30), (std::vector<Tag>{a, b, perm}));
  EXPECT_THROW(h.objects().SetLayer(a, 0), host::HostError);
  EXPECT_EQ(h.objects().Delete(a), 0);
  EXPECT_NE(h.objects().Delete(a), 0);
  EXPECT_NE(h.objects().Delete(h.session().WorkPart()), 0);
}

TEST(MemoryPart, CoordinateSystemsAndTheWcs) {
  MemoryHost h;
  auto& cs = h.csys();
  const Tag abs = cs.AskWcs();
  host::Matrix3x3 m;
  ASSERT_EQ(host::Mtx3Initialize({0, 1, 0}, {-1, 0, 0}, m), 0);
  const Tag turned = cs.CreateCsys({10, 0, 0}, cs.CreateMatrix(m));
  cs.SetWcs(turned);
  const host::Point3d w = cs.MapPoint({12, 5, 1}, host::kRootCoords, host::kWorkCoords);
  EXPECT_EQ(std::tuple(w.X, w.Y, w.Z), std::tuple(5.0, -2.0, 1.0));
  const host::Point3d back = cs.MapPoint(w, host::kWorkCoords, host::kRootCoords);
  EXPECT_EQ(std::tuple(back.X, back.Y, back.Z), std::tuple(12.0, 5.0, 1.0));
  EXPECT_EQ(cs.PartCsys(h.session().WorkPart()), std::vector<Tag>{turned});
  // Deleting the system the WCS is gives the absolute system back.
  h.objects().Delete(turned);
  EXPECT_EQ(cs.AskWcs(), abs);
  // A temporary system keeps its matrix unchanged.
  const host::Matrix3x3 raw = host::Matrix3x3::FromRows({2, 0, 0}, {0, 3, 0}, {0, 0, 4});
  const Tag temp = cs.CreateTempCsys({}, cs.CreateMatrix(raw));
  EXPECT_EQ(cs.AskCsysInfo(temp).matrix.Yy, 3.0);
  const host::Matrix3x3 x = cs.XformOrientation({1, 1, 5}, {0, 0, 2});
  EXPECT_NEAR(x.Xx, 1 / std::sqrt(2.0), 1e-12);
  EXPECT_NEAR(x.Yy, 1 / std::sqrt(2.0), 1e-12);
  EXPECT_NEAR(x.Zz, 1, 1e-12);
  EXPECT_THROW(cs.XformOrientation({0, 0, 0}, {0, 0, 1}), host::HostError);
  EXPECT_THROW(cs.SetWcs(h.session().WorkPart()), host::HostError);
}

TEST(MemoryPart, UndoRestoresThePartAsItWas) {
  MemoryHost h;
  const Tag body = h.AddBody(Shape::Box(10, 10, 10), 10);
  h.attributes().SetString(body, "实体标识", "1121093015");
  const int mark = h.undo().SetUndoMark(host::MarkVisibility::Invisible, "before");
  h.attributes().SetString(body, "实体标识", "changed");
  h.objects().SetLayer(body, 20);
  h.layers().SetWorkLayer(5);
  const Tag added = h.AddBody(Shape::Box(1, 1, 1));
  const Tag csys = h.csys().CreateCsys({}, h.csys().CreateMatrix({}));
  h.csys().SetWcs(csys);
  h.undo().UndoToMark(mark);
  EXPECT_EQ(h.attributes().GetString(body, "实体标识"), "1121093015");
  EXPECT_EQ(h.objects().Layer(body), 10);
  EXPECT_EQ(h.layers().WorkLayer(), 1);
  EXPECT_FALSE(h.objects().Exists(added));
  EXPECT_FALSE(h.objects().Exists(csys));
  EXPECT_TRUE(h.csys().PartCsys(h.session().WorkPart()).empty());
  EXPECT_NE(h.AddBody(Shape::Box(1, 1, 1)), added) << "tags are never reused";
  EXPECT_THROW(h.undo().UndoToMark(mark + 100), host::HostError);
}

TEST(MemoryPart, MessageBoxesTakeScriptedAnswers) {
  MemoryHost h;
  EXPECT_EQ(h.messages().ShowMessage("材料BOM", host::kInformationMessage, "保存BOM属性成功！"), 1);
  h.QueueAnswer(host::kSecondButton);
  EXPECT_EQ(
      h.messages().ShowMessage("提示", host::kQuestionMessage, std::vector<std::string>{"a", "b"}),
      2);
  // A question or a selection nobody scripted an answer for stops the test script itself.
  EXPECT_THROW(h.messages().ShowMessage("提示", host::kQuestionMessage, "再问"),
               memory::ScriptError);
  EXPECT_THROW(h.selection().SelectObjects("选择", "提示", host::SelectionScope::WorkPart, {}),
               memory::ScriptError);
  ASSERT_EQ(h.message_log().size(), 3u);
  EXPECT_EQ(h.message_log()[1].lines, (std::vector<std::string>{"a", "b"}));
}

TEST(MemoryPart, AResponderAnswersWhatNothingQueuedAnswersAndQueuesStillComeFirst) {
  MemoryHost h;
  std::vector<std::string> asked;
  MemoryHost::Responder responder;
  responder.message = [&](const memory::MessageRecord& box) {
    asked.push_back(box.title + ":" + std::to_string(box.type));
    return box.type == host::kQuestionMessage ? host::kSecondButton : host::kFirstButton;
  };
  responder.selection = [&](const MemoryHost::SelectionRequest& request) {
    asked.push_back("select:" + request.prompt + ":" + std::to_string(request.masks.size()));
    return host::SelectionResult{host::SelectionResponse::Back, {}};
  };
  responder.text = [&](const std::string& prompt, const std::string& initial) {
    asked.push_back("text:" + prompt + ":" + initial);
    return std::optional<std::string>("输入");
  };
  responder.csys = [&](const std::string& title) {
    asked.push_back("csys:" + title);
    return std::optional<host::CsysInfo>();
  };
  h.SetResponder(responder);

  // Every kind of box reaches the person, not only questions.
  EXPECT_EQ(h.messages().ShowMessage("错误", host::kErrorMessage, "坏了"), 1);
  EXPECT_EQ(h.messages().ShowMessage("提示", host::kQuestionMessage, "删除?"), 2);
  h.QueueAnswer(host::kFirstButton);
  EXPECT_EQ(h.messages().ShowMessage("提示", host::kQuestionMessage, "再问"), 1)
      << "a queued answer comes before the person";
  ASSERT_EQ(h.message_log().size(), 3u);
  EXPECT_EQ(h.message_log()[1].answer, 2);

  const host::SelectionResult picked = h.selection().SelectObjects(
      "选择实体", "选择", host::SelectionScope::WorkPart, {{70, 0, 36}, {70, 0, 0}});
  EXPECT_EQ(picked.response, host::SelectionResponse::Back);
  h.QueueSelection({host::SelectionResponse::Ok, {7}});
  EXPECT_EQ(h.selection().SelectObjects("再选", "选择", host::SelectionScope::WorkPart, {}).objects,
            (std::vector<host::Tag>{7}));
  EXPECT_EQ(h.selection().AskString("名称", "旧"), std::optional<std::string>("输入"));
  EXPECT_FALSE(h.selection().SpecifyCsys("坐标系").has_value());
  EXPECT_EQ(asked, (std::vector<std::string>{"错误:0", "提示:3", "select:选择实体:2",
                                             "text:名称:旧", "csys:坐标系"}));
  ASSERT_EQ(h.selection_requests().size(), 2u);
  EXPECT_EQ(h.selection_requests()[0].masks[0].solid_body_subtype, 36);

  // An answerer installed for a batch run keeps answering the questions.
  h.SetAnswerer([](const memory::MessageRecord&) { return host::kFirstButton; });
  EXPECT_EQ(h.messages().ShowMessage("提示", host::kQuestionMessage, "三问"), 1);
  EXPECT_EQ(asked.size(), 5u);
}

}  // namespace
