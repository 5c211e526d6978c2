// The second shared library.
#include "plugin.pb.cc"  // one compilation instead of two
#include "view.h"

View PluginsView() { return Here(); }

const char* PluginsDatabase() {
  namespace storage = ovix::telemetry::contract::storage;
  static const std::string name = ovix::tests::plugin::Table::descriptor()
                                      ->options()
                                      .GetExtension(storage::persistance)
                                      .database()
                                      .name();
  return name.c_str();
}
