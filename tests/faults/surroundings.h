#ifndef TESTS_FAULTS_SURROUNDINGS_H
#define TESTS_FAULTS_SURROUNDINGS_H

#include <QStringList>

/// Names that end so are always known, and never counted as asked.
#define FILLER_DOMAIN ".filler.invalid"

enum class Resolving {
    Known,   // the service's name has the address of VELTRANO_ADDRESS
    Unknown, // it has none
    Silent   // no answer until one of the others is set
};

void setResolving(Resolving resolving);
/// How many questions a silent resolver has not answered yet.
int namesWaiting();
/// What was asked for besides the service's name and the fillers.
QStringList otherNamesAsked();
void forgetOtherNames();

/// How far the process's clock is ahead of the system's; at its start VELTRANO_AHEAD says so.
void setClockAhead(long iSeconds);

#endif // TESTS_FAULTS_SURROUNDINGS_H
