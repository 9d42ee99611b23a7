#pragma once
// Everything the portable platform layer offers.
#include "platform/afxgeom.h"
#include "platform/atlbase.h"
#include "platform/clipboard.h"
#include "platform/critsec.h"
#include "platform/devicecontext.h"
#include "platform/fileio.h"
#include "platform/mmio.h"
#include "platform/timer.h"
#include "platform/uithread.h"
#include "platform/windef.h"
