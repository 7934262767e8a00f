// A scripted CoaXPress board with a camera behind each port, built as the
// board libraries liborva_hal.so and libdsgrt.so of a directory of its own.
// It records what the port writes (command rows, queue buffers, camera
// control calls, time-outs) and answers with scripted
// acknowledges, or, with none scripted, like a plain camera over a word
// memory. All numbers of the control functions are host values unless said.
#pragma once

#include <cstdint>

extern "C" {

// Everything back to the state after load: no scripts, no records, memory
// empty, flags set, NIT counters 0.
void FakeCxp_Reset(void);

// Adds one acknowledge packet to the answer being scripted for `port`:
// `words` as the port receives them (register path: between packet type and
// end marker; queue path: behind the header, which the fake adds).
void FakeCxp_AddAck(uint32_t port, const uint32_t* words, uint32_t count);
// Closes the scripted answer: the next command on `port` gets its packets,
// all at once. An answer without packets is silence.
void FakeCxp_EndAnswer(uint32_t port);

// Commands the port sent on `port` (register path: the design port; queue
// path: the physical port).
uint32_t FakeCxp_CommandCount(uint32_t port);
// Register path: the 64-bit rows of command `index`; queue path: its words,
// header first. Returns the number available; copies at most `max`.
uint32_t FakeCxp_Command(uint32_t port, uint32_t index, uint64_t* out, uint32_t max);

// Camera memory of the plain camera, host values at 4-byte addresses.
void FakeCxp_SetMemory(uint32_t port, uint32_t address, uint32_t value);
uint32_t FakeCxp_GetMemory(uint32_t port, uint32_t address);
// The plain camera answers reads of `address` with this status word.
void FakeCxp_FailReads(uint32_t port, uint32_t address, uint32_t statusWord);

// Successive values of the NIT counter of `port`; the last one repeats.
void FakeCxp_SetNitScript(uint32_t port, const uint64_t* values, uint32_t count);
uint32_t FakeCxp_NitReads(uint32_t port);

// Camera control calls by name ("DataPathSpeed", "DataPathState", "Version",
// "Led"): values given for `port`, and the status the calls return.
uint32_t FakeCxp_ControlCalls(const char* name, uint32_t port, uint32_t* out, uint32_t max);
void FakeCxp_SetControlStatus(const char* name, int32_t status);

// Time-outs passed to the reads of the receiving queue of `port`.
uint32_t FakeCxp_QueueReadTimeouts(uint32_t port, uint32_t* out, uint32_t max);
}
