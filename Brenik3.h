#ifndef BRENIK3_H
#define BRENIK3_H

// Brenik3: one include for the whole toolkit.
#include "foundation/DcNode.h"
#include "foundation/DcList.h"
#include "foundation/DcBuf.h"
#include "foundation/DcLog.h"
#include "foundation/util.h"
#include "dictionary/DcDictTypes.h"
#include "dictionary/DcDictTags.h"
#include "dictionary/DcDict.h"
#include "dataset/DcElemValue.h"
#include "dataset/DcElemValueText.h"
#include "dataset/DcElem.h"
#include "dataset/DcElemList.h"
#include "dataset/DcElemSq.h"
#include "dataset/DcElemSqItem.h"
#include "dataset/utilLocate.h"

#endif
