// What each waiting batch concerns: places (an output, an input, a setting) and connections. Batches that
// concern the same place or connection are sent in the order in which they came.
#pragma once

#include "turns.h"

void note_concerns(const waiting_batch& batch);
void forget_concerns(const waiting_batch& batch);
// The batch no longer concerns this output, 0 to max_outputs - 1.
void forget_concern(const waiting_batch& batch, std::int32_t output);
void forget_all_concerns();
bool no_older_batch_concerns_the_same(const waiting_batch& batch);
