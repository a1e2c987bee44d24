// The engine as an object: one running chain (module instances, working
// buffers, gathering position) and the way control threads change it while
// an audio thread runs it. Internal; hosts reach it through HVSFX_* (the
// process-wide engine) and HVFX_* (instances).
//
// Control model. Two kinds of thread meet here:
//  - the audio thread calls Process (BeginCall ... EndCall); it never waits
//    and never skips a call, except a call that races a release;
//  - control threads call everything else, serialised among themselves by
//    the engine's control mutex (ControlLock).
// A control operation does its work on the calling thread (it builds a new
// chain, designs equalizer sections on a twin of the live equalizer, copies a
// record) and publishes the result as a Change on a queue. The audio thread
// takes every published change, in order, at the start of its next call,
// before the first block of that call, and works with what it took to the
// end of the call: a call never sees half a change, nor a layout other than
// the one it started with. Published objects are freed by control threads
// once the audio thread has passed them; the audio thread never allocates or
// frees.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "hvtralofx/CHVAudioEQ_Ts.h"
#include "hvtralofx/HVSFX_Param.h"
#include "SmoothMix.h"

class CDynamicRangeControl;
class CAdaptiveVolume_S24;
class CSoundbar4Fxd;

namespace hvfx::api {

// Frames a call can gather before the current block is full: the smaller of
// the frames left in the call and the room left in the block. Never
// overflows, whatever the counts (gathered is 0 ... blockFrames - 1).
constexpr int FramesToGather(int gathered, int remaining, int blockFrames) {
  const int room = blockFrames - gathered;
  return remaining < room ? remaining : room;
}

// The front's fixed attenuation of every sample that does not go to the
// soundbar: 19661 / 32768, about 0.6 (-4.4 dB), rounded.
constexpr int16_t kFrontGainQ15 = 19661;

struct Chain;

// A front in smooth mode hands its master switch to the engine, which then
// applies the front's attenuation itself: FrontView{master, true}.
struct FrontView {
  bool master = true;
  bool attenuates = false;
};

// What smooth mode adds to a chain, allocated with it: the delays that hold
// a stage's input back by the stage's latency, the crossfade of every stage
// switch, and per equalizer (channels 0 ... 5, the LFE band at kLfeSlot) the
// outgoing design and the design waiting for its turn.
struct SmoothState {
  static constexpr int kLfeSlot = HVSFX_MAX_CHANNELS;
  explicit SmoothState(const Chain& c);
  ~SmoothState();
  SmoothState(const SmoothState&) = delete;
  SmoothState& operator=(const SmoothState&) = delete;

  bool primed = false;  // the switch fades stand where the switches are
  int* dry = nullptr;   // six rows: a stage's input
  int* lfeRow = nullptr;       // one row: the LFE row before the pre-mix
  int* eqOutgoing = nullptr;   // one row: the outgoing design's output
  RowDelay soundbarDry;      // the soundbar's delay on its main channels
  RowDelay soundbarCentre;   // rows 2 and 3 of its output, to join them
  RowDelay levellerDry;      // the leveller's look-ahead
  RowDelay limiterDry;       // the limiter's block of look-ahead
  Fade soundbar, lfeCopy, lfeLeveller, leveller, eq, limiter, surround;
  std::vector<CHVAudioEQ_Ts> eqOld;   // kLfeSlot + 1 entries
  std::vector<CHVAudioEQ_Ts> eqNext;
  bool eqPending[kLfeSlot + 1] = {};
  Fade eqDesign[kLfeSlot + 1];
};

// One built chain: every module instance and buffer for one layout, created
// together from a record by HVSFX_Init and freed together.
struct Chain {
  // Creates every module and buffer from the record's rate, layout and
  // leveller and LFE settings. recordId identifies the record, for
  // comparison only (it is never read through).
  Chain(const HVSFX_Param& p, std::uintptr_t recordId);
  ~Chain();
  Chain(const Chain&) = delete;
  Chain& operator=(const Chain&) = delete;

  std::uintptr_t recordId;
  int sampleRate;
  int frames;
  int inChannels;
  int outChannels;
  CDynamicRangeControl* drc = nullptr;
  CHVAudioEQ_Ts* eq[HVSFX_MAX_CHANNELS] = {};  // one per input channel
  int eqCount = 0;
  CHVAudioEQ_Ts* eqLfe = nullptr;
  CAdaptiveVolume_S24* adav = nullptr;
  CAdaptiveVolume_S24* adavLfe = nullptr;
  CSoundbar4Fxd* soundbar = nullptr;
  int* lfeIn = nullptr;   // mono buffers of the LFE leveller, `frames` each
  int* lfeOut = nullptr;
  int* inBuf = nullptr;   // planar working buffers, six rows each
  int* outBuf = nullptr;
  // Fixed at creation, for the latency query: the soundbar can run (it has
  // filters for the rate) and its delay on the virtualized channels, and
  // the leveller's look-ahead in frames.
  bool soundbarReady = false;
  int soundbarDelay = 0;
  int soundbarCentreLag = 0;  // how much earlier the pass-through rows come
  int levellerDelay = 0;
  SmoothState* smooth = nullptr;
};

// One published change. The control side fills it and owns what it points
// to; the audio side applies it and may hand back an object it displaced
// (`retired`), which the control side frees with the change.
struct Change {
  enum class Kind : uint8_t {
    kChain,             // chain: run this chain from now on (re-initialisation)
    kRelease,           // no chain from now on
    kEqDesign,          // channel's equalizer (or the LFE band's, channel -1) takes design's sections
    kEqReset,           // clear channel's equalizer history before its next block
    kSoundbarReset,     // reset the soundbar before its next block
    kLevellerParam,     // args: mode, relative volume, stationarity ms, base flag
    kLevellerRates,     // args: up and down rate in percent
    kSoundbarDistance,  // args[0]
    kSoundbarAngle,     // args[0]
    kRecord,            // the front's record and configured flag
    kSmooth,            // args[0]: smooth control on (1) or off (0)
  };
  ~Change();

  Kind kind = Kind::kRecord;
  bool lfe = false;  // leveller changes: the LFE leveller
  int channel = 0;
  int args[4] = {};
  Chain* chain = nullptr;             // kChain, before it is taken
  CHVAudioEQ_Ts* design = nullptr;    // kEqDesign
  HVSFX_Param* record = nullptr;      // kRecord
  bool configured = false;            // kRecord
  Chain* retired = nullptr;           // set by the audio side
  uint64_t commit = 0;                // on the last change of a group: its serial number
  std::atomic<Change*> next{nullptr};
};

class Engine {
 public:
  Engine();
  ~Engine();  // no call may be running or start
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  // The process-wide engine of HVSFX_* and HVTralo_*.
  static Engine& Global();

  // ---- Control threads (hold a ControlScope for everything below) --------
  // Serialises control calls; when it ends, every change the call made is
  // published at once, so that a call of the audio side takes all of them
  // or none.
  class ControlScope {
   public:
    explicit ControlScope(Engine& e) : engine_(e), lock_(e.control_) {}
    ~ControlScope() { engine_.Commit(); }
    ControlScope(const ControlScope&) = delete;
    ControlScope& operator=(const ControlScope&) = delete;

   private:
    Engine& engine_;
    std::unique_lock<std::mutex> lock_;
  };
  ControlScope ControlLock() { return ControlScope(*this); }

  // HVSFX_Init's work: validates, builds the chain, points the record's
  // buffers at it and publishes it. 1, or 0 (nothing changed).
  int Init(HVSFX_Param& record, std::uintptr_t recordId);
  // HVSFX_Release's work: clears the record's buffer pointers when it holds
  // this engine's, then releases at once when no call is running, else at
  // the end of the running call. Never touches a record afterwards.
  void Release(HVSFX_Param* record);
  // HVSFX_GetLatency's work for the record's switches, or 0 when the engine
  // is not initialised or the record is not the one it was built with.
  int Latency(const HVSFX_Param& record, std::uintptr_t recordId, int* frames) const;

  // The control side's view of the built chain: null before Init and after
  // Release. Its immutable properties (layout, rate, which modules exist)
  // may be read; its running state belongs to the audio thread.
  const Chain* Built() const { return built_; }
  // Twins of the built chain's equalizers (channel 0 ... eqCount - 1, or -1
  // for the LFE band): setters design on them, then PublishEqualizer hands
  // the design to the live one. Null without a built chain.
  CHVAudioEQ_Ts* EqualizerTwin(int channel);
  void PublishEqualizer(int channel);
  void Publish(Change::Kind kind, int channel = 0, int a0 = 0, int a1 = 0, int a2 = 0, int a3 = 0,
               bool lfe = false);
  // The front's record as the audio side shall use it from the next call.
  void PublishRecord(const HVSFX_Param& record, bool configured);
  // Smooth control (see HVFX_Engine.h): published like any change; the
  // getter reports the last setting made.
  void SetSmoothControl(bool on);
  bool SmoothControl() const { return smoothControl_; }

  // ---- Audio thread -------------------------------------------------------
  // Starts a call: takes every published change. False when a release is
  // under way (the call must return without touching anything).
  bool BeginCall();
  // Ends a call; carries out a release requested meanwhile.
  void EndCall();
  // Runs `frames` interleaved frames in place through the chain with the
  // record's settings; 1, or 0 when the record does not match the chain
  // (not initialised, another record, changed geometry). Between BeginCall
  // and EndCall only.
  int ProcessFrames(const HVSFX_Param& record, std::uintptr_t recordId, short* samples, int frames,
                    FrontView front = FrontView{});
  // Smooth mode as the running call has it.
  bool Smooth() const { return smooth_; }
  // The front's record as last published (between BeginCall and EndCall).
  const HVSFX_Param& FrontRecord() const { return frontRecord_; }
  bool FrontConfigured() const { return frontConfigured_; }

  // ---- Observation (tests) -------------------------------------------------
  // Every committed group of changes gets the next serial number (from 1);
  // LastCommit() is the last one (control side).
  uint64_t LastCommit() const { return commits_; }
  // Where the audio side notes, for each group it takes, {serial, call}: the
  // index of the call whose start took it, counted from 0 at this call. The
  // array is the caller's; entries past `capacity` are dropped. Set it before
  // the audio thread starts.
  struct TakenAt {
    uint64_t commit;
    uint64_t call;
  };
  void ObserveCommits(TakenAt* log, size_t capacity) {
    takenLog_ = log;
    takenCapacity_ = capacity;
    takenCount_.store(0);
    firstObservedCall_ = calls_;
  }
  size_t ObservedCommits() const { return takenCount_.load(); }

  // ---- Test access (single-threaded tests only) --------------------------
  Chain* LiveChain() { return live_; }
  bool& EqResetPending(int channel) { return eqResetPending_[channel]; }
  bool& SoundbarResetPending() { return soundbarResetPending_; }
  int& GatheredFrames() { return sampleCount_; }
  // Takes the published changes now, as a call would.
  void TakeChanges() {
    if (BeginCall()) EndCall();
  }

 private:
  void Enqueue(std::unique_ptr<Change> change);
  void Commit();
  void Apply(Change& change);
  void TakeAll();
  void FreePassed();
  // Carries out a pending release if the caller holds the consumer role.
  void SettleRelease();
  int RunChain(const HVSFX_Param& p);
  void RunSmoothChain(const HVSFX_Param& p, FrontView front);
  void ApplyDesign(int slot, CHVAudioEQ_Ts& live, const CHVAudioEQ_Ts& design);

  // Control side.
  std::mutex control_;
  const Chain* built_ = nullptr;  // see Built(); owned by its change, then by the audio side
  std::unique_ptr<CHVAudioEQ_Ts> eqTwin_[HVSFX_MAX_CHANNELS];
  std::unique_ptr<CHVAudioEQ_Ts> lfeTwin_;
  Change* oldest_ = nullptr;  // first change not yet freed
  Change* newest_ = nullptr;  // last change published
  Change* batchFirst_ = nullptr;  // changes of the running control call, not yet published
  Change* batchLast_ = nullptr;
  uint64_t commits_ = 0;
  bool smoothControl_ = false;

  // Shared.
  std::atomic<Change*> taken_{nullptr};  // last change the audio side applied
  std::atomic<bool> consuming_{false};   // held by whoever takes changes
  std::atomic<bool> releasing_{false};   // a release waits for the running call

  // Audio side (or whoever holds consuming_).
  Chain* live_ = nullptr;
  int sampleCount_ = 0;
  bool eqResetPending_[8] = {};
  bool soundbarResetPending_ = false;
  HVSFX_Param frontRecord_;
  bool frontConfigured_ = false;
  bool smooth_ = false;
  uint64_t calls_ = 0;
  TakenAt* takenLog_ = nullptr;
  size_t takenCapacity_ = 0;
  uint64_t firstObservedCall_ = 0;
  std::atomic<size_t> takenCount_{0};
};

}  // namespace hvfx::api
