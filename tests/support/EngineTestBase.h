// Fixture for tests that drive the engine: a default record before each
// test, and the engine released and the partial-block position cleared after
// it, so that no module or gathered frame leaks into the next test.
#pragma once

#include <gtest/gtest.h>

#include "api/Engine.h"
#include "hvtralofx/HVSFX_Engine.h"

using namespace hvfx::api;  // the engine's internals

class EngineTestBase : public ::testing::Test {
 protected:
  void SetUp() override {
    HVSFX_GetDefaultParam(&param);
    hvfx::api::Engine::Global().GatheredFrames() = 0;
  }
  void TearDown() override {
    HVSFX_Release(&param);
    hvfx::api::Engine::Global().GatheredFrames() = 0;
  }
  HVSFX_Param param{};
};
