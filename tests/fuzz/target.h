#ifndef TESTS_FUZZ_TARGET_H
#define TESTS_FUZZ_TARGET_H

// What a fuzz target is made of, whoever runs it: libFuzzer, or the replay in every other build.

#include <cstddef>
#include <cstdint>

// The names are libFuzzer's.
extern "C" {
/// Runs before the first input; a target without preparations does nothing here.
int LLVMFuzzerInitialize(int *pCount, char ***pArguments);
/// One input. Ends the process where something that must hold does not.
int LLVMFuzzerTestOneInput(const std::uint8_t *pData, std::size_t iSize);
}

/// Behind the last input, where that is known: to libFuzzer it is not. What is lost then is looked
/// for after this.
void endTarget();

/// Ends the process with the sentence, as a fault that the sanitizers see would, where the
/// condition does not hold.
void mustHold(bool bHolds, const char *pSentence);

#endif // TESTS_FUZZ_TARGET_H
