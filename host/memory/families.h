// The host's families over one model. Internal to host/memory.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>

#include "host/host.h"
#include "host/memory/dialogs/dialogs.h"
#include "host/memory/memory_host.h"
#include "host/memory/model.h"

namespace memory {

class MemoryHost;

class SessionImpl : public host::Session {
 public:
  explicit SessionImpl(MemoryHost& h) : h_(h) {}
  int Initialize() override;
  int IsInitialized() override;
  int Terminate() override;
  std::string FailMessage(int code) override;
  host::Tag WorkPart() override;
  host::Tag DisplayPart() override;
  std::string PartLeaf(host::Tag part) override;
  int UpdateModel() override;

 private:
  MemoryHost& h_;
};

class BodiesImpl : public host::Bodies {
 public:
  explicit BodiesImpl(Model& m) : m_(m) {}
  std::vector<host::Tag> PartBodies(host::Tag part) override;
  bool IsSolidBody(host::Tag body) override;
  std::vector<host::Tag> BodyFaces(host::Tag body) override;
  std::vector<host::Tag> FaceEdges(host::Tag face) override;
  std::vector<host::Tag> BodyEdges(host::Tag body) override;
  host::Tag FaceBody(host::Tag face) override;
  host::FaceData AskFaceData(host::Tag face) override;
  int AskCurveClosed(host::Tag edge) override;
  host::EdgeData AskEdgeData(host::Tag edge) override;
  host::ExactBox AskBoundingBoxExact(host::Tag body, host::Tag csys) override;
  double Volume(host::Tag body) override;
  host::MassProperties AskMassProperties(host::Tag body) override;
  host::Facets AskFacets(host::Tag body, double chord_tolerance, double angle_tolerance) override;
  host::Interference CheckInterference(host::Tag a, host::Tag b) override;
  bool ShareVolume(host::Tag a, host::Tag b) override;
  std::uint64_t GeometryIdentity(host::Tag body) override;
  std::unique_ptr<host::BodyGeometry> TakeGeometry(host::Tag body) override;
  int JoinFaces(host::Tag body) override;
  int ExportNeutral(const std::vector<host::Tag>& bodies, const std::string& path) override;
  std::vector<host::Tag> ImportNeutral(const std::string& path) override;
  host::Tag CreateSphere(const host::Point3d& centre, double diameter) override;
  host::Tag AskFeatureBody(host::Tag feature) override;

  // Neutral files are written through the platform's path mapping.
  std::function<std::string(const std::string&)> local_path;

 private:
  host::Tag SubTag(host::Tag body, ObjectKind kind, int index);
  InterferenceData& Interference(host::Tag body);
  const GProp_GProps& VolumeProperties(host::Tag body);
  // kInterferes, kNone (no shared volume, touching not told) or, when the
  // shortcuts cannot tell, the exact check's answer.
  host::Interference Share(host::Tag a, host::Tag b, bool tell_touching);
  Model& m_;
};

class AttributesImpl : public host::Attributes {
 public:
  explicit AttributesImpl(Model& m) : m_(m) {}
  bool Has(host::Tag object, const std::string& title, int type) override;
  std::string GetString(host::Tag object, const std::string& title) override;
  host::AttributeValue Read(host::Tag object, const std::string& title) override;
  void SetString(host::Tag object, const std::string& title, const std::string& value) override;
  void Delete(host::Tag object, int type, const std::string& title) override;
  void DeleteAll(host::Tag object, int type) override;
  std::vector<std::pair<std::string, std::string>> List(host::Tag object) override;

 private:
  Model& m_;
};

class LayersImpl : public host::Layers {
 public:
  explicit LayersImpl(Model& m) : m_(m) {}
  int WorkLayer() override;
  void SetWorkLayer(int layer) override;
  host::LayerState GetState(int layer) override;
  void SetState(int layer, host::LayerState state) override;
  int AskStatus(int layer) override;
  int SetStatus(int layer, int status) override;
  int SetAllButWork(int status) override;
  std::vector<host::Tag> ObjectsOnLayer(int layer) override;

 private:
  Model& m_;
};

class CsysImpl : public host::CoordinateSystems {
 public:
  explicit CsysImpl(Model& m) : m_(m) {}
  host::Tag CreateMatrix(const host::Matrix3x3& matrix) override;
  host::Tag CreateTempCsys(const host::Point3d& origin, host::Tag matrix) override;
  host::Tag CreateCsys(const host::Point3d& origin, host::Tag matrix) override;
  host::CsysInfo AskCsysInfo(host::Tag csys) override;
  host::Tag AskWcs() override;
  void SetWcs(host::Tag csys) override;
  host::Point3d MapPoint(const host::Point3d& point, int from, int to) override;
  std::vector<host::Tag> PartCsys(host::Tag part) override;
  host::Matrix3x3 XformOrientation(const host::Vector3d& x, const host::Vector3d& z) override;

 private:
  host::Tag MakeCsys(const host::Point3d& origin, host::Tag matrix, bool temporary);
  Model& m_;
};

class ObjectsImpl : public host::Objects {
 public:
  explicit ObjectsImpl(Model& m) : m_(m) {}
  bool Exists(host::Tag object) override;
  host::TypeAndSubtype AskTypeAndSubtype(host::Tag object) override;
  int Layer(host::Tag object) override;
  void SetLayer(host::Tag object, int layer) override;
  int Color(host::Tag object) override;
  void SetColor(host::Tag object, int color) override;
  bool IsBlanked(host::Tag object) override;
  void SetBlanked(host::Tag object, bool blanked) override;
  bool IsHighlighted(host::Tag object) override;
  void SetHighlighted(host::Tag object, bool highlighted) override;
  void Redisplay(host::Tag object) override;
  std::string Name(host::Tag object) override;
  void SetName(host::Tag object, const std::string& name) override;
  int Delete(host::Tag object) override;

 private:
  Model& m_;
};

class DisplayImpl : public host::Display {
 public:
  explicit DisplayImpl(Model& m) : m_(m) {}
  void SetTranslucency(const std::vector<host::Tag>& objects, int translucency) override;
  int Translucency(host::Tag object) override;
  void SetDisplayColor(const std::vector<host::Tag>& objects, int color) override;
  void SetSessionTranslucency(bool on) override { session_translucency = on; }
  void FitView(const std::vector<host::Tag>& objects) override { fitted = objects; }

  bool session_translucency = false;
  std::vector<host::Tag> fitted;

 private:
  Model& m_;
};

class MessagesImpl : public host::Messages {
 public:
  explicit MessagesImpl(MemoryHost& h) : h_(h) {}
  int ShowMessage(const std::string& title, int type, const std::string& text) override;
  int ShowMessage(const std::string& title, int type,
                  const std::vector<std::string>& lines) override;
  int PrintSyslog(const std::string& text) override;
  int OpenListingWindow() override;
  int WriteListingWindow(const std::string& text) override;

 private:
  MemoryHost& h_;
};

class SelectionImpl : public host::Selection {
 public:
  explicit SelectionImpl(MemoryHost& h) : h_(h) {}
  host::SelectionResult SelectObjects(const std::string& prompt, const std::string& title,
                                      host::SelectionScope scope,
                                      const std::vector<host::SelectionMask>& masks) override;
  std::optional<std::string> AskString(const std::string& prompt,
                                       const std::string& initial) override;
  std::optional<host::CsysInfo> SpecifyCsys(const std::string& title) override;

 private:
  MemoryHost& h_;
};

class EnvironmentImpl : public host::Environment {
 public:
  explicit EnvironmentImpl(MemoryHost& h) : h_(h) {}
  std::optional<std::string> TranslateVariable(const std::string& name) override;
  std::string GetEnvironmentVariableValue(const std::string& name) override;

 private:
  MemoryHost& h_;
};

class UndoImpl : public host::Undo {
 public:
  explicit UndoImpl(Model& m) : m_(m) {}
  int SetUndoMark(host::MarkVisibility visibility, const std::string& name) override;
  void UndoToMark(int mark) override;
  void DeleteUndoMark(int mark) override;

 private:
  Model& m_;
  std::map<int, Model> marks_;
  int next_mark_ = 1;
};

class PlatformImpl : public host::Platform {
 public:
  explicit PlatformImpl(MemoryHost& h) : h_(h) {}
  bool FileExists(const std::string& path) override;
  bool CreateDirectory(const std::string& path) override;
  bool CopyFile(const std::string& from, const std::string& to, bool fail_if_exists) override;
  bool RemoveFile(const std::string& path) override;
  std::optional<std::string> ReadFile(const std::string& path) override;
  bool WriteFile(const std::string& path, const std::string& contents) override;
  std::string NativePath(const std::string& path) override;
  std::string DesktopFolder() override;
  std::string LocalAppDataFolder() override;
  host::LocalTime Now() override;
  bool OpenDocument(const std::string& path) override;
  bool PressDialogButton(const std::string& dialog_title, const std::string& button_label) override;

 private:
  MemoryHost& h_;
};

struct MemoryHost::Families {
  explicit Families(MemoryHost& h)
      : session(h),
        bodies(h.model()),
        attributes(h.model()),
        layers(h.model()),
        csys(h.model()),
        objects(h.model()),
        display(h.model()),
        messages(h),
        selection(h),
        environment(h),
        undo(h.model()),
        platform(h),
        dialogs(h) {}
  SessionImpl session;
  BodiesImpl bodies;
  AttributesImpl attributes;
  LayersImpl layers;
  CsysImpl csys;
  ObjectsImpl objects;
  DisplayImpl display;
  MessagesImpl messages;
  SelectionImpl selection;
  EnvironmentImpl environment;
  UndoImpl undo;
  PlatformImpl platform;
  MemoryDialogs dialogs;
};

}  // namespace memory
