#pragma once
// The records that cross the host boundary, with their version-1 streams.

#include "mailinterface/EMail.h"
#include "mailinterface/Empfaenger.h"
#include "mailinterface/Felder.h"
#include "mailinterface/ProgrammVorlage.h"
#include "mailinterface/StreamIO.h"
#include "mailinterface/TranslationList.h"
