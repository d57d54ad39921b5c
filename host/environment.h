// Environment variables as the host translates them.
#pragma once

#include <optional>
#include <string>

namespace host {

class Environment {
 public:
  virtual ~Environment() = default;

  // UF_translate_variable: nothing when unset.
  virtual std::optional<std::string> TranslateVariable(const std::string& name) = 0;
  // NXOpen::Session::GetEnvironmentVariableValue: empty when unset.
  virtual std::string GetEnvironmentVariableValue(const std::string& name) = 0;
};

}  // namespace host
