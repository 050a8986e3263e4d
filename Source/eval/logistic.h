// logistic.h: exponential and logarithm with the same bits on every machine.
//
// The system's library picks its loops by the processor, and they may differ in the last bit.
// Scores of the network must not, so they are made of the four basic operations alone, each rounded
// by itself. Nothing is kept; any thread may call these.

#pragma once

// e to the power of x, within two units in the last place. Beyond 700 in size x counts as 700.
double exp_of(double x);

// The natural logarithm of x, within two units in the last place. `x` is positive, finite and no
// subnormal number.
double log_of(double x);
