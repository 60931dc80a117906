#pragma once

#include <memory>

#include "ipc/currentcontrol.pb.h"

class CCurrentControlConfig;

/// How the meter is reached, as somebody outside sets or clears it: checked, and stored for every feature
/// that uses such a meter. Any thread, one call at a time.
class CMeasurementSourceConnection {
 public:
  explicit CMeasurementSourceConnection(std::shared_ptr<CCurrentControlConfig> config);

  /// Stores the parameters for each feature whose source is of the message's type. A message that is no good,
  /// or of no use to any feature, is one warning and changes nothing.
  void Set(const ipc::MMeasurementSource& connection);
  /// Forgets the parameters of every feature that has some; the station's own current transformers keep
  /// theirs.
  void Clear();

 private:
  const std::shared_ptr<CCurrentControlConfig> mConfig;
};
