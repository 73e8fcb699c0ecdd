#pragma once

namespace FuzzSupport {

// Makes the process's one QCoreApplication, drops Qt's debug output (the
// program writes a line for nearly every refusal, which would slow a fuzzer
// down many times over) and moves into a fresh temporary working folder,
// removed at exit: corpus and artifact paths given to a target must
// therefore be absolute. Called once, from LLVMFuzzerInitialize.
void start();

// Delivers the posted events, queued signals and calls among them, without
// letting any timer fire.
void deliverPosted();

} // namespace FuzzSupport
