// Every public header of vxUtils.
#pragma once

#include "vxExport.h"
#include "vxAssert.h"
#include "vxString.h"
#include "vxLocker.h"
#include "vxRefPtr.h"
#include "vxSharedPtr.h"
#include "vxAutoPtr.h"
#include "vxMutex.h"
