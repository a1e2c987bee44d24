// Fixture for tests that drive the engine: a default record before each
// test, and the engine released and the partial-block position cleared after
// it, so that no module or gathered frame leaks into the next test.
#pragma once

#include <gtest/gtest.h>

#include "api/Engine.h"
#include "hvtralofx/HVSFX_Engine.h"

using namespace hvfx::api;  // the engine's internals

// The process-wide engine, and the chain the next call runs (the changes
// made so far taken, as the start of a call takes them).
inline Engine& GlobalEngine() { return Engine::Global(); }
inline Chain* LiveChain() {
  GlobalEngine().TakeChanges();
  return GlobalEngine().LiveChain();
}
inline int& Gathered() { return GlobalEngine().GatheredFrames(); }

class EngineTestBase : public ::testing::Test {
 protected:
  void SetUp() override {
    HVSFX_GetDefaultParam(&param);
    Gathered() = 0;
  }
  void TearDown() override {
    HVSFX_Release(&param);
    Gathered() = 0;
  }
  HVSFX_Param param{};
};
