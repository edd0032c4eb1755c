#pragma once

#include "engine/recording/PiecedFile.h"

/**
 * Puts a Flash video whose first bytes are lost together anew: a header, and every tag that says
 * before and behind itself how long it is. False when there is none; nothing is then added.
 */
bool addMendedFlv(PiecedFile &file);
