// The front: one effect with a master switch over a record of its own and
// an engine. The process-wide front (HVTralo_*) and every instance of the
// instance interface (HVFX_*) are one of these. Internal; tests reach the
// process-wide one through GlobalFront().
#pragma once

#include <atomic>
#include <memory>

#include "Engine.h"
#include "hvtralofx/HVSFX_Param.h"

namespace hvfx::api {

struct Front {
  explicit Front(Engine& e) : engine(e) {}
  Engine& engine;
  // The front's record: read and written by control threads only, under the
  // engine's control lock; the audio side works on the copies the front
  // publishes after every change.
  HVSFX_Param record = HVSFX_Param_Default;
  // True from a successful Init to Release: Process calls the engine only
  // meanwhile (the audio side reads the published copy).
  bool configured = false;
  // True after the first Init: later ones re-apply the stored equalizer
  // settings instead of setting the first-time defaults.
  bool initOnce = false;
  // Master switch of all effects; read by the audio thread.
  std::atomic<bool> masterSwitch{false};
};

// The process-wide front, over Engine::Global().
Front& GlobalFront();

// Publishes the front's record as it stands (tests that change it through
// the engine interface, as HVSFX_*(&GlobalFront().record, ...)).
void PublishFrontRecord(Front& front);

}  // namespace hvfx::api

struct HVFX_Engine;
namespace hvfx::api {

// The instance-interface handle of the process-wide front (tests drive the
// front through HVFX_* with it).
HVFX_Engine* GlobalFrontHandleForTests();

// Puts the process-wide front and engine back into their load-time state
// (tests; no call may be running).
void ResetGlobalFrontForTests();

}  // namespace hvfx::api

// A handle of the instance interface: a front of its own over an engine of
// its own, or the handle of the process-wide front.
struct HVFX_Engine {
  HVFX_Engine() : ownEngine(std::make_unique<hvfx::api::Engine>()), ownFront(std::make_unique<hvfx::api::Front>(*ownEngine)),
                  front(*ownFront) {}
  explicit HVFX_Engine(hvfx::api::Front& shared) : front(shared) {}
  std::unique_ptr<hvfx::api::Engine> ownEngine;
  std::unique_ptr<hvfx::api::Front> ownFront;
  hvfx::api::Front& front;
};
