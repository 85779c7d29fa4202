// Every public header of vxUtils.
#pragma once

#include "vxExport.h"
#include "vxAssert.h"

// Text and ownership
#include "vxString.h"
#include "vxLocker.h"
#include "vxRefPtr.h"
#include "vxSharedPtr.h"
#include "vxAutoPtr.h"
#include "vxScString.h"

// Small values
#include "vxGuid.h"
#include "vxVersion.h"
#include "vxAngle.h"
#include "vxRgbColor.h"
#include "vxMath.h"

// Errors and localisation
#include "vxException.h"
#include "vxLocMessage.h"
#include "vxLocString.h"
#include "vxLocFile.h"
#include "vxLocManager.h"

// Generic values and conversion
#include "vxTypeConversion.h"
#include "vxGenericSet.h"
#include "vxGenericValue.h"
#include "vxExpression.h"
#include "vxCondition.h"
#include "vxConditionSql.h"

// Dates and times
#include "vxDate.h"
#include "vxCalendar.h"
#include "vxTime.h"
#include "vxTimeStamp.h"

// Environment, paths and files
#include "vxEnvironment.h"
#include "vxConfigSet.h"
#include "vxFsEntryName.h"
#include "vxFsEntry.h"
#include "vxFile.h"
#include "vxDirectory.h"
#include "vxSearchPath.h"
#include "vxFsEntryMutex.h"
#include "vxModule.h"

// Binary data
#include "vxBinaryBuffer.h"
#include "vxZLib.h"
#include "vxCompoundDoc.h"

// XML
#include "vxXml.h"
#include "vxXmlDatabase.h"
#include "vxXmlDbOStream.h"
#include "vxXmlDbIStream.h"
#include "vxRestrictionFilter.h"

// Logging
#include "vxLogger.h"
#include "vxLogManager.h"

// Concurrency and events
#include "vxMutex.h"
#include "vxObserver.h"
#include "vxSignal.h"
#include "vxThread.h"
#include "vxJobsQueue.h"
#include "vxTransactionManager.h"

// System services
#include "vxRegistry.h"
#include "vxNamedPipe.h"
#include "vxProcess.h"

// QR output, where the library was built with qrcodegen
#ifdef VX_HAVE_QRCODE
#include "vxQrCodeGenerator.h"
#endif
