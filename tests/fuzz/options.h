#ifndef TESTS_FUZZ_OPTIONS_H
#define TESTS_FUZZ_OPTIONS_H

// What the first byte of an input asks for.

#include "fuzzedwindow.h"
#include "windowstate.h"

/// The lowest three bits are the kind of reply, the next says whether the window showed anything
/// before, two are how a dialog is answered; where the two highest are set the window is painted.
struct InputOptions
{
    explicit InputOptions(unsigned uByte) :
        bProgress((uByte & 7U) == 6), bFilled((uByte & 8U) != 0), bPainted((uByte & 0xc0U) == 0xc0U)
    {
        constexpr ReplyKind Kinds[] = {
            ReplyKind::Login,        ReplyKind::Groups,  ReplyKind::Trackers, ReplyKind::Details,
            ReplyKind::SavedDetails, ReplyKind::Command, ReplyKind::Trackers, ReplyKind::Trackers};
        constexpr DialogAnswers::Answer Answers[] = {DialogAnswers::Cancel, DialogAnswers::Accept,
                                                     DialogAnswers::AcceptEdited,
                                                     DialogAnswers::Accept};
        kind = Kinds[uByte & 7U];
        answer = Answers[uByte >> 4U & 3U];
    }

    ReplyKind kind;
    DialogAnswers::Answer answer;
    bool bProgress; ///< where bodies alone are read: no reply, but two numbers of progress
    bool bFilled;
    bool bPainted;
};

#endif // TESTS_FUZZ_OPTIONS_H
