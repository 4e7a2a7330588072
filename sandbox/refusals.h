// The two ways in which a request ends without being carried out.

#ifndef SANDBOX_REFUSALS_H
#define SANDBOX_REFUSALS_H

#include <stdexcept>

/// The request is well formed, but a rule forbids it; what() is the sentence for the operator.
class Refusal : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The request is not one that a client may send; what() says what is wrong with it.
class BadRequest : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

#endif // SANDBOX_REFUSALS_H
