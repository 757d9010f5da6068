#ifndef BRENIK3_H
#define BRENIK3_H

// Brenik3: one include for the whole toolkit.

// Foundation: lists, buffers, log, utilities.
#include "foundation/DcNode.h"
#include "foundation/DcList.h"
#include "foundation/DcBuf.h"
#include "foundation/DcLog.h"
#include "foundation/util.h"

// Data dictionary.
#include "dictionary/DcDictTypes.h"
#include "dictionary/DcDictTags.h"
#include "dictionary/DcDict.h"

// Data elements, data sets, sequences, locating elements in encoded data.
#include "dataset/DcElemValue.h"
#include "dataset/DcElemValueText.h"
#include "dataset/DcElem.h"
#include "dataset/DcElemList.h"
#include "dataset/DcElemSq.h"
#include "dataset/DcElemSqItem.h"
#include "dataset/utilLocate.h"

// Part 10 files, DICOMDIR records and file sets, the media manager.
#include "media/DcDirMetaInfo.h"
#include "media/dirFile.h"
#include "media/DcDirRec.h"
#include "media/DcDirDicomDir.h"
#include "media/DcMediaMgr.h"

// Messages, information objects and the DIMSE commands.
#include "message/DcMsg.h"
#include "message/DcIod.h"
#include "message/DcCmd.h"
#include "message/DcCmdCEcho.h"
#include "message/DcCmdCStore.h"
#include "message/DcCmdCFind.h"
#include "message/DcCmdCGet.h"
#include "message/DcCmdCMove.h"
#include "message/DcCmdCCancel.h"
#include "message/DcCmdNEvent.h"
#include "message/DcCmdNGet.h"
#include "message/DcCmdNSet.h"
#include "message/DcCmdNAction.h"
#include "message/DcCmdNCreate.h"
#include "message/DcCmdNDelete.h"

// Network upper layer: PDUs, state machine, connections, transport upper layer.
#include "network/DcPdu.h"
#include "network/DcPduAssoAcRq.h"
#include "network/DcPduAssoRj.h"
#include "network/DcPduRelease.h"
#include "network/DcPduAbort.h"
#include "network/DcPduDataTf.h"
#include "network/utilMoveElem.h"
#include "network/DcTsm.h"
#include "network/DcTul.h"

// Association and message service.
#include "service/DcMsmInfo.h"
#include "service/DcMsm.h"

// Extension: bit-preserving storage (data set bytes as they are, to and from files).
#include "service/DcMsmRawPick.h"
#include "service/DcMsmRawStore.h"

#endif
