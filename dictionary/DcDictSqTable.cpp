// Member lists of the built-in sequences: for each sequence tag, the tags that
// may stand in its items. The dictionary loads them at every reset, group by
// group, through the same check a caller's addition passes (the sequence tag
// must be of VR SQ, every member must be known).
//
// A list holds at most DICT_SQ_MEMBER_LIMIT (64) tags: the dictionary copies a
// list into a fixed array of that size for its callers (getSqTagList), and a
// sequence item only ever looks at that many. Sequences whose items may hold
// more (none of the built-in ones) keep their most used 64 members.
#include <cstddef>

#include "dictionary/DcDictTables.h"

namespace {

template <typename T, size_t N>
constexpr int countOf(const T (&)[N])
{
    return static_cast<int>(N);
}

// ---- shared member sets -------------------------------------------------------

const unsigned int sopReference[] = {
    T_0008_1150_referencedSopClassUid, T_0008_1155_referencedSopInstanceUid};

const unsigned int sopReferenceFrames[] = {
    T_0008_1150_referencedSopClassUid, T_0008_1155_referencedSopInstanceUid,
    T_0008_1160_referencedFrameNumber, T_0040_a170_purposeOfReferenceCodeSequence};


// Items of a coded entry; lists that add a modifier or context build on it.
#define CODE_MEMBERS                                                                                          \
    T_0008_0100_codeValue, T_0008_0101_extendedCodeValue, T_0008_0102_codingSchemeDesignator,                \
        T_0008_0103_codingSchemeVersion, T_0008_0104_codeMeaning, T_0008_0105_mappingResource,                \
        T_0008_0106_contextGroupVersion, T_0008_0107_contextGroupLocalVersion,                                \
        T_0008_0108_extendedCodeMeaning, T_0008_010b_contextGroupExtensionFlag,                               \
        T_0008_010d_contextGroupExtensionCreatorUid, T_0008_010f_contextIdentifier, T_0008_0117_contextUid,   \
        T_0008_0118_mappingResourceUid, T_0008_0122_mappingResourceName

const unsigned int code[] = {CODE_MEMBERS, T_0008_0121_equivalentCodeSequence};

// An equivalent code does not nest further equivalents.
const unsigned int equivalentCode[] = {CODE_MEMBERS};

// Issuer of an identifier (hierarchic designator).
const unsigned int issuer[] = {
    T_0040_0031_localNamespaceEntityId, T_0040_0032_universalEntityId, T_0040_0033_universalEntityIdType};

// Identification of a person by the institution he or she works for.
const unsigned int personIdentification[] = {
    T_0008_0080_institutionName, T_0008_0081_institutionAddress, T_0008_0082_institutionCodeSequence,
    T_0008_1040_institutionalDepartmentName, T_0008_1041_institutionalDepartmentTypeCodeSequence};

// A study, and the series and instances referenced in it.
const unsigned int studyReference[] = {
    T_0020_000d_studyInstanceUid, T_0008_1115_referencedSeriesSequence};

// ---- general and referenced ---------------------------------------------------

const unsigned int directoryRecord[] = {
    T_0004_1400_offsetOfTheNextDirectoryRecord, T_0004_1410_recordInUseFlag,
    T_0004_1420_offsetOfReferencedLowerLevelDirectoryEntity, T_0004_1430_recordType,
    T_0004_1432_privateRecordUid, T_0004_1500_referencedFileId, T_0004_1504_mrdrDirectoryRecordOffset,
    T_0004_1510_referencedFileClassUid, T_0004_1511_referencedFileInstanceUid,
    T_0004_1512_referencedFileXferSynUid, T_0004_151a_referencedRelatedGeneralSopClassUidInFile,
    T_0004_1600_numberOfReferences, T_0008_0005_specificCharacterSet, T_0008_0008_imageType,
    T_0008_0016_sopClassUid, T_0008_0018_sopInstanceUid, T_0008_0020_studyDate, T_0008_0023_contentDate,
    T_0008_0030_studyTime, T_0008_0033_contentTime, T_0008_0050_accessionNumber, T_0008_0060_modality,
    T_0008_1030_studyDescription, T_0008_1115_referencedSeriesSequence, T_0008_1140_referencedImageSequence,
    T_0010_0010_patientName, T_0010_0020_patientId, T_0010_0030_patientBirthDate, T_0010_0040_patientSex,
    T_0020_000d_studyInstanceUid, T_0020_000e_seriesInstanceUid, T_0020_0010_studyId,
    T_0020_0011_seriesNumber, T_0020_0012_acquisitionNumber, T_0020_0013_instanceNumber,
    T_0020_0032_imagePosition, T_0020_0037_imageOrientation, T_0020_0052_frameOfReferenceUid,
    T_0020_1041_sliceLocation, T_0028_0008_numberOfFrames, T_0028_0010_rows, T_0028_0011_columns,
    T_0028_0030_pixelSpacing, T_0040_a043_conceptNameCodeSequence, T_0040_a040_valueType,
    T_0040_a491_completionFlag, T_0040_a493_verificationFlag, T_0040_a730_contentSequence,
    T_0088_0200_iconImageSequence, T_300a_0002_rtPlanLabel, T_300a_0006_rtPlanDate, T_300a_0007_rtPlanTime,
    T_3006_0002_structureSetLabel, T_3006_0008_structureSetDate, T_3006_0009_structureSetTime};

const unsigned int referencedSeries[] = {
    T_0020_000e_seriesInstanceUid, T_0008_0054_retrieveAeTitle, T_0088_0130_storageMediaFileSetId,
    T_0088_0140_storageMediaFileSetUid, T_0008_1140_referencedImageSequence,
    T_0008_114a_referencedInstanceSequence, T_0008_1199_referencedSopSequence};

const unsigned int referencedSop[] = {
    T_0008_1150_referencedSopClassUid, T_0008_1155_referencedSopInstanceUid,
    T_0008_1160_referencedFrameNumber, T_0040_a170_purposeOfReferenceCodeSequence,
    T_0008_0054_retrieveAeTitle, T_0088_0130_storageMediaFileSetId, T_0088_0140_storageMediaFileSetUid};

const unsigned int failedSop[] = {
    T_0008_1150_referencedSopClassUid, T_0008_1155_referencedSopInstanceUid, T_0008_1197_failureReason};


const unsigned int relatedSeries[] = {
    T_0020_000d_studyInstanceUid, T_0020_000e_seriesInstanceUid, T_0040_a170_purposeOfReferenceCodeSequence};

const unsigned int sourceImage[] = {
    T_0008_1150_referencedSopClassUid, T_0008_1155_referencedSopInstanceUid,
    T_0008_1160_referencedFrameNumber, T_0040_a170_purposeOfReferenceCodeSequence,
    T_0028_135a_spatialLocationsPreserved, T_0020_0020_patientOrientation};


const unsigned int otherPatientIds[] = {
    T_0010_0020_patientId, T_0010_0021_issuerOfPatientId, T_0010_0022_typeOfPatientId,
    T_0010_0024_issuerOfPatientIdQualifiersSequence};

const unsigned int issuerQualifiers[] = {
    T_0040_0032_universalEntityId, T_0040_0033_universalEntityIdType, T_0040_0035_identifierTypeCode,
    T_0040_0036_assigningFacilitySequence, T_0040_0039_assigningJurisdictionCodeSequence,
    T_0040_003a_assigningAgencyOrDepartmentCodeSequence};

const unsigned int iconImage[] = {
    T_0028_0002_samplesPerPixel, T_0028_0004_photometricInterpretation, T_0028_0006_planarConfiguration,
    T_0028_0010_rows, T_0028_0011_columns, T_0028_0034_pixelAspectRatio, T_0028_0100_bitsAllocated,
    T_0028_0101_bitsStored, T_0028_0102_highBit, T_0028_0103_pixelRepresentation,
    T_0028_0106_smallestImagePixelValue, T_0028_0107_largestImagePixelValue,
    T_0028_1101_redLutDescriptor, T_0028_1102_greenLutDescriptor, T_0028_1103_blueLutDescriptor,
    T_0028_1201_redPaletteColorLookupTableData, T_0028_1202_greenPaletteColorLookupTableData,
    T_0028_1203_bluePaletteColorLookupTableData, T_7fe0_0010_pixelData};

const DcDictSqDef generalLists[] = {
    {T_0004_1220_directoryRecordSequence, directoryRecord, countOf(directoryRecord)},
    {T_0008_1110_referencedStudySequence, sopReference, countOf(sopReference)},
    {T_0008_1111_referencedPerformedProcedureStepSequence, sopReference, countOf(sopReference)},
    {T_0008_1115_referencedSeriesSequence, referencedSeries, countOf(referencedSeries)},
    {T_0008_1120_referencedPatientSequence, sopReference, countOf(sopReference)},
    {T_0008_1125_referencedVisitSequence, sopReference, countOf(sopReference)},
    {T_0008_1140_referencedImageSequence, sopReferenceFrames, countOf(sopReferenceFrames)},
    {T_0008_114a_referencedInstanceSequence, sopReferenceFrames, countOf(sopReferenceFrames)},
    {T_0008_1198_failedSopSequence, failedSop, countOf(failedSop)},
    {T_0008_1199_referencedSopSequence, referencedSop, countOf(referencedSop)},
    {T_0008_1200_studiesContainingOtherReferencedInstancesSequence, studyReference, countOf(studyReference)},
    {T_0008_1250_relatedSeriesSequence, relatedSeries, countOf(relatedSeries)},
    {T_0008_2112_sourceImageSequence, sourceImage, countOf(sourceImage)},
    {T_0010_1002_otherPatientIDsSequence, otherPatientIds, countOf(otherPatientIds)},
    {T_0010_0024_issuerOfPatientIdQualifiersSequence, issuerQualifiers, countOf(issuerQualifiers)},
    {T_0008_0051_issuerOfAccessionNumberSequence, issuer, countOf(issuer)},
    {T_0040_0036_assigningFacilitySequence, issuer, countOf(issuer)},
    {T_0008_0096_referringPhysicianIdentificationSequence, personIdentification, countOf(personIdentification)},
    {T_0008_1049_physiciansOfRecordIdentificationSequence, personIdentification, countOf(personIdentification)},
    {T_0008_1052_performingPhysicianIdentificationSequence, personIdentification, countOf(personIdentification)},
    {T_0008_1072_operatorIdentificationSequence, personIdentification, countOf(personIdentification)},
    {T_0032_1031_requestingPhysicianIdentificationSequence, personIdentification, countOf(personIdentification)},
    {T_0088_0200_iconImageSequence, iconImage, countOf(iconImage)},
    {T_0040_a360_predecessorDocumentsSequence, studyReference, countOf(studyReference)},
    {T_0040_a375_currentRequestedProcedureEvidenceSequence, studyReference, countOf(studyReference)},
};

// ---- code sequences, request attributes, procedure steps ----------------------

const unsigned int contrastBolusAgent[] = {
    CODE_MEMBERS, T_0008_0121_equivalentCodeSequence, T_0018_1041_contrastBolusVolume,
    T_0018_1049_contrastBolusIngredientConcentration,
    T_0018_1048_contrastBolusIngredient, T_0018_0014_contrastBolusAdministrationRouteSequence};

const unsigned int protocolCode[] = {
    CODE_MEMBERS, T_0008_0121_equivalentCodeSequence, T_0040_0440_protocolContextSequence};

const unsigned int protocolContext[] = {
    T_0040_a040_valueType, T_0040_a043_conceptNameCodeSequence, T_0040_a120_dateTime, T_0040_a123_personName,
    T_0040_a160_textValue, T_0040_a168_conceptCodeSequence, T_0040_a30a_numericValue};

const unsigned int scheduledProcedureStep[] = {
    T_0008_0005_specificCharacterSet, T_0008_0060_modality, T_0032_1070_requestedContrastAgent,
    T_0040_0001_scheduledStationAeTitle, T_0040_0002_scheduledProcedureStepStartDate,
    T_0040_0003_scheduledProcedureStepStartTime, T_0040_0004_scheduledProcedureStepEndDate,
    T_0040_0005_scheduledProcedureStepEndTime, T_0040_0006_scheduledPerformingPhysicianName,
    T_0040_0007_scheduledProcedureStepDescription, T_0040_0008_scheduledProtocolCodeSequence,
    T_0040_0009_scheduledProcedureStepId, T_0040_000b_scheduledPerformingPhysicianIdentificationSequence,
    T_0040_0010_scheduledStationName, T_0040_0011_scheduledProcedureStepLocation, T_0040_0012_preMedication,
    T_0040_0020_scheduledProcedureStepStatus, T_0040_0400_commentsOnTheScheduledProcedureStep};

const unsigned int requestAttributes[] = {
    T_0008_0050_accessionNumber, T_0008_0051_issuerOfAccessionNumberSequence, T_0020_000d_studyInstanceUid,
    T_0008_1110_referencedStudySequence, T_0032_1060_requestedProcedureDescription,
    T_0032_1064_requestedProcedureCodeSequence, T_0040_0007_scheduledProcedureStepDescription,
    T_0040_0008_scheduledProtocolCodeSequence, T_0040_0009_scheduledProcedureStepId};

const unsigned int scheduledStepAttributes[] = {
    T_0020_000d_studyInstanceUid, T_0008_1110_referencedStudySequence, T_0008_0050_accessionNumber,
    T_0008_0051_issuerOfAccessionNumberSequence, T_0032_1060_requestedProcedureDescription,
    T_0032_1064_requestedProcedureCodeSequence, T_0040_0007_scheduledProcedureStepDescription,
    T_0040_0008_scheduledProtocolCodeSequence, T_0040_0009_scheduledProcedureStepId};

const unsigned int performedSeries[] = {
    T_0008_1050_performingPhysicianName, T_0008_1052_performingPhysicianIdentificationSequence,
    T_0008_1070_operatorsName, T_0008_1072_operatorIdentificationSequence, T_0008_103e_seriesDescription,
    T_0008_103f_seriesDescriptionCodeSequence, T_0020_000e_seriesInstanceUid,
    T_0008_1140_referencedImageSequence, T_0018_1030_protocolName, T_0008_0054_retrieveAeTitle,
    T_0040_a494_archiveRequested, T_0040_0220_referencedNonImageCompositeSopInstanceSequence};

const unsigned int referencedRequest[] = {
    T_0020_000d_studyInstanceUid, T_0008_1110_referencedStudySequence, T_0008_0050_accessionNumber,
    T_0008_0051_issuerOfAccessionNumberSequence, T_0032_1060_requestedProcedureDescription,
    T_0032_1064_requestedProcedureCodeSequence};

const unsigned int contentItem[] = {
    T_0040_a010_relationshipType, T_0040_a040_valueType, T_0040_a043_conceptNameCodeSequence,
    T_0040_a050_continuityOfContent, T_0040_a120_dateTime, T_0040_a121_date, T_0040_a122_time,
    T_0040_a123_personName, T_0040_a124_uid, T_0040_a130_temporalRangeType,
    T_0040_a132_referencedSamplePositions, T_0040_a138_referencedTimeOffsets, T_0040_a13a_referencedDateTime,
    T_0040_a160_textValue, T_0040_a168_conceptCodeSequence, T_0040_a171_observationUid,
    T_0040_a300_measuredValueSequence, T_0040_a301_numericValueQualifierCodeSequence,
    T_0040_a032_observationDateTime, T_0040_a504_contentTemplateSequence, T_0040_a730_contentSequence,
    T_0008_1199_referencedSopSequence, T_0040_a0b0_referencedWaveformChannels};

const unsigned int measuredValue[] = {
    T_0040_a30a_numericValue, T_0040_a161_floatingPointValue, T_0040_a162_rationalNumeratorValue,
    T_0040_a163_rationalDenominatorValue};

const unsigned int contentTemplate[] = {T_0008_0105_mappingResource, T_0008_0118_mappingResourceUid};

const unsigned int verifyingObserver[] = {
    T_0040_a027_verifyingOrganization, T_0040_a030_verificationDateTime, T_0040_a075_verifyingObserverName,
    T_0040_a088_verifyingObserverIdentificationCodeSequence};

const DcDictSqDef codeLists[] = {
    {T_0008_0082_institutionCodeSequence, code, countOf(code)},
    {T_0008_0121_equivalentCodeSequence, equivalentCode, countOf(equivalentCode)},
    {T_0008_1032_procedureCodeSequence, code, countOf(code)},
    {T_0008_103f_seriesDescriptionCodeSequence, code, countOf(code)},
    {T_0018_0012_contrastBolusAgentSequence, contrastBolusAgent, countOf(contrastBolusAgent)},
    {T_0018_0014_contrastBolusAdministrationRouteSequence, code, countOf(code)},
    {T_0032_1064_requestedProcedureCodeSequence, code, countOf(code)},
    {T_0040_0008_scheduledProtocolCodeSequence, protocolCode, countOf(protocolCode)},
    {T_0040_0260_performedProtocolCodeSequence, protocolCode, countOf(protocolCode)},
    {T_0040_0440_protocolContextSequence, protocolContext, countOf(protocolContext)},
    {T_0040_0281_performedProcedureStepDiscontinuationReasonCodeSequence, code, countOf(code)},
    {T_0040_0100_scheduledProcedureStepSequence, scheduledProcedureStep, countOf(scheduledProcedureStep)},
    {T_0040_0275_requestAttributesSequence, requestAttributes, countOf(requestAttributes)},
    {T_0040_0270_scheduledStepAttributesSequence, scheduledStepAttributes, countOf(scheduledStepAttributes)},
    {T_0040_0340_performedSeriesSequence, performedSeries, countOf(performedSeries)},
    {T_0040_0220_referencedNonImageCompositeSopInstanceSequence, sopReference, countOf(sopReference)},
    {T_0040_a370_referencedRequestSequence, referencedRequest, countOf(referencedRequest)},
    {T_0040_a372_performedProcedureCodeSequence, code, countOf(code)},
    {T_0040_a043_conceptNameCodeSequence, code, countOf(code)},
    {T_0040_a168_conceptCodeSequence, code, countOf(code)},
    {T_0040_a170_purposeOfReferenceCodeSequence, code, countOf(code)},
    {T_0040_a195_modifierCodeSequence, code, countOf(code)},
    {T_0040_a730_contentSequence, contentItem, countOf(contentItem)},
    {T_0040_a300_measuredValueSequence, measuredValue, countOf(measuredValue)},
    {T_0040_a504_contentTemplateSequence, contentTemplate, countOf(contentTemplate)},
    {T_0040_a073_verifyingObserverSequence, verifyingObserver, countOf(verifyingObserver)},
};

// ---- digital X-ray --------------------------------------------------------------

const unsigned int maskSubtraction[] = {
    T_0028_6101_maskOperation, T_0028_6102_applicableFrameRange, T_0028_6110_maskFrameNumbers,
    T_0028_6112_contrastFrameAveraging, T_0028_6114_maskSubPixelShift, T_0028_6120_tidOffset,
    T_0028_6190_maskOperationExplanation};

const unsigned int modalityLut[] = {
    T_0028_3002_lutDescriptor, T_0028_3004_modalityLutType, T_0028_3003_lutExplanation, T_0028_3006_lutData};

const unsigned int voiLut[] = {T_0028_3002_lutDescriptor, T_0028_3003_lutExplanation, T_0028_3006_lutData};

const unsigned int softcopyVoiLut[] = {
    T_0008_1140_referencedImageSequence, T_0028_3010_voilutSequence, T_0028_1050_windowCenter,
    T_0028_1051_windowWidth, T_0028_1055_windowCenterWidthExplanation, T_0028_1056_voilutFunction};

const unsigned int biopsyTarget[] = {
    T_0018_2042_targetUid, T_0018_2043_localizingCursorPosition, T_0018_2044_calculatedTargetPosition,
    T_0018_2045_targetLabel, T_0018_2046_displayedZValue};

const unsigned int histogram[] = {
    T_0060_3002_histogramNumberOfBins, T_0060_3004_histogramFirstBinValue, T_0060_3006_histogramLastBinValue,
    T_0060_3008_histogramBinWidth, T_0060_3010_histogramExplanation, T_0060_3020_histogramData};

const DcDictSqDef digitalXRayLists[] = {
    {T_0018_5104_projectionEponymousNameCodeSequence, code, countOf(code)},
    {T_0028_1352_partialViewCodeSequence, code, countOf(code)},
    {T_0028_6100_maskSubtractionSequence, maskSubtraction, countOf(maskSubtraction)},
    {T_0028_3000_modalityLutSequence, modalityLut, countOf(modalityLut)},
    {T_0028_3010_voilutSequence, voiLut, countOf(voiLut)},
    {T_0028_3110_softcopyVoilutSequence, softcopyVoiLut, countOf(softcopyVoiLut)},
    {T_0018_2041_biopsyTargetSequence, biopsyTarget, countOf(biopsyTarget)},
    {T_0060_3000_histogramSequence, histogram, countOf(histogram)},
};

// ---- nuclear medicine and PET ---------------------------------------------------

const unsigned int energyWindowInformation[] = {
    T_0054_0013_energyWindowRangeSequence, T_0054_0018_energyWindowName};

const unsigned int energyWindowRange[] = {T_0054_0014_energyWindowLowerLimit, T_0054_0015_energyWindowUpperLimit};

const unsigned int radiopharmaceuticalInformation[] = {
    T_0018_0031_radiopharmaceutical, T_0018_1070_radiopharmaceuticalRoute,
    T_0054_0302_administrationRouteCodeSequence, T_0018_1071_radiopharmaceuticalVolume,
    T_0018_1072_radiopharmaceuticalStartTime, T_0018_1073_radiopharmaceuticalStopTime,
    T_0018_1078_radiopharmaceuticalStartDateTime, T_0018_1079_radiopharmaceuticalStopDateTime,
    T_0018_1074_radionuclideTotalDose, T_0018_1075_radionuclideHalfLife,
    T_0018_1076_radionuclidePositronFraction, T_0018_1077_radiopharmaceuticalSpecificActivity,
    T_0054_0300_radionuclideCodeSequence, T_0054_0304_radiopharmaceuticalCodeSequence,
    T_0054_0306_calibrationDataSequence, T_0054_0017_residualSyringeCounts, T_0018_1045_syringeCounts,
    T_0008_3012_radiopharmaceuticalAdministrationEventUid};

const unsigned int detectorInformation[] = {
    T_0018_1145_centerOfRotationOffset, T_0018_1120_gantryDetectorTilt, T_0018_1110_distanceSourceToDetector,
    T_0054_0200_startAngle, T_0018_1142_radialPosition, T_0020_0032_imagePosition,
    T_0020_0037_imageOrientation, T_0028_0031_zoomFactor, T_0028_0032_zoomCenter,
    T_0018_1147_fieldOfViewShape, T_0018_1149_fieldOfViewDimensions, T_0018_1180_collimatorGridName,
    T_0018_1181_collimatorType, T_0018_1182_focalDistance, T_0018_1183_xFocusCenter,
    T_0018_1184_yFocusCenter, T_0054_0220_viewCodeSequence};

const unsigned int phaseInformation[] = {
    T_0054_0036_phaseDelay, T_0018_1242_actualFrameDuration, T_0054_0038_pauseBetweenFrames,
    T_0054_0033_numberOfFramesInPhase, T_0054_0210_triggerVector, T_0054_0211_numberOfTriggersInPhase,
    T_0054_0039_phaseDescription};

const unsigned int rotationInformation[] = {
    T_0054_0200_startAngle, T_0018_1144_angularStep, T_0018_1140_rotationDirection, T_0018_1143_scanArc,
    T_0018_1242_actualFrameDuration, T_0018_1142_radialPosition, T_0018_1110_distanceSourceToDetector,
    T_0054_0053_numberOfFramesInRotation, T_0018_1131_tableTraverse, T_0018_1130_tableHeight};

const unsigned int gatedInformation[] = {
    T_0018_1060_triggerTime, T_0018_1064_cardiacFramingType, T_0054_0063_dataInformationSequence};

const unsigned int dataInformation[] = {
    T_0018_1063_frameTime, T_0018_1062_nominalInterval, T_0018_1081_lowRrValue, T_0018_1082_highRrValue,
    T_0018_1083_intervalsAcquired, T_0018_1084_intervalsRejected, T_0054_0072_timeSlotInformationSequence};



const unsigned int patientOrientationCode[] = {
    CODE_MEMBERS, T_0008_0121_equivalentCodeSequence, T_0054_0412_patientOrientationModifierCodeSequence};

const DcDictSqDef nuclearMedicineLists[] = {
    {T_0054_0012_energyWindowInformationSequence, energyWindowInformation, countOf(energyWindowInformation)},
    {T_0054_0013_energyWindowRangeSequence, energyWindowRange, countOf(energyWindowRange)},
    {T_0054_0016_radiopharmaceuticalInformationSequence, radiopharmaceuticalInformation,
     countOf(radiopharmaceuticalInformation)},
    {T_0054_0022_detectorInformationSequence, detectorInformation, countOf(detectorInformation)},
    {T_0054_0032_phaseInformationSequence, phaseInformation, countOf(phaseInformation)},
    {T_0054_0052_rotationInformationSequence, rotationInformation, countOf(rotationInformation)},
    {T_0054_0062_gatedInformationSequence, gatedInformation, countOf(gatedInformation)},
    {T_0054_0063_dataInformationSequence, dataInformation, countOf(dataInformation)},
    {T_0054_0300_radionuclideCodeSequence, code, countOf(code)},
    {T_0054_0302_administrationRouteCodeSequence, code, countOf(code)},
    {T_0054_0304_radiopharmaceuticalCodeSequence, code, countOf(code)},
    {T_0054_0410_patientOrientationCodeSequence, patientOrientationCode, countOf(patientOrientationCode)},
    {T_0054_0412_patientOrientationModifierCodeSequence, code, countOf(code)},
};

// ---- radiotherapy ------------------------------------------------------------------

const unsigned int exposure[] = {
    T_0008_1160_referencedFrameNumber, T_0018_0060_kvp, T_0018_1151_xRayTubeCurrent, T_0018_1150_exposureTime,
    T_3002_0032_metersetExposure, T_3002_0034_diaphragmPosition, T_300a_00b6_beamLimitingDeviceSequence,
    T_300a_011e_gantryAngle, T_300a_0120_beamLimitingDeviceAngle, T_300a_0122_patientSupportAngle,
    T_300a_00f0_numberOfBlocks, T_300a_00f4_blockSequence, T_300a_0107_applicatorSequence};



const unsigned int dvh[] = {
    T_3004_0060_dvhReferencedRoiSequence, T_3004_0001_dvhType, T_3004_0002_doseUnits, T_3004_0004_doseType,
    T_3004_0052_dvhDoseScaling, T_3004_0054_dvhVolumeUnits, T_3004_0056_dvhNumberOfBins, T_3004_0058_dvhData,
    T_3004_0070_dvhMinimumDose, T_3004_0072_dvhMaximumDose, T_3004_0074_dvhMeanDose};


const unsigned int referencedFrameOfReference[] = {
    T_0020_0052_frameOfReferenceUid, T_3006_0012_rtReferencedStudySequence};

const unsigned int rtReferencedStudy[] = {
    T_0008_1150_referencedSopClassUid, T_0008_1155_referencedSopInstanceUid,
    T_3006_0014_rtReferencedSeriesSequence};

const unsigned int rtReferencedSeries[] = {T_0020_000e_seriesInstanceUid, T_3006_0016_contourImageSequence};

const unsigned int contourImage[] = {
    T_0008_1150_referencedSopClassUid, T_0008_1155_referencedSopInstanceUid, T_0008_1160_referencedFrameNumber};

const unsigned int structureSetRoi[] = {
    T_3006_0022_roiNumber, T_3006_0024_referencedFrameOfReferenceUid, T_3006_0026_roiName,
    T_3006_0028_roiDescription, T_3006_002c_roiVolume, T_3006_0036_roiGenerationAlgorithm,
    T_3006_0038_roiGenerationDescription, T_3006_0037_roiDerivationAlgorithmIdentificationSequence};

const unsigned int rtRelatedRoi[] = {T_3006_0084_referencedRoiNumber, T_3006_0033_rtroiRelationship};

const unsigned int roiContour[] = {
    T_3006_0084_referencedRoiNumber, T_3006_002a_roiDisplayColor, T_3006_0040_contourSequence};

const unsigned int contour[] = {
    T_3006_0016_contourImageSequence, T_3006_0042_contourGeometricType, T_3006_0046_numberOfContourPoints,
    T_3006_0048_contourNumber, T_3006_0050_contourData};

const unsigned int rtRoiObservations[] = {
    T_3006_0082_observationNumber, T_3006_0084_referencedRoiNumber, T_3006_0085_roiObservationLabel,
    T_3006_0088_roiObservationDescription, T_3006_0030_rtRelatedRoiSequence,
    T_3006_0086_rtroiIdentificationCodeSequence, T_3006_00a0_relatedRtroiObservationsSequence,
    T_3006_00a4_rtroiInterpretedType, T_3006_00a6_roiInterpreter, T_300a_00e1_materialId,
    T_3006_00b0_roiPhysicalPropertiesSequence};



const unsigned int doseLimits[] = {
    T_300a_0021_constraintWeight, T_300a_0022_deliveryWarningDose, T_300a_0023_deliveryMaximumDose,
    T_300a_0025_targetMinimumDose, T_300a_0026_targetPrescriptionDose, T_300a_0027_targetMaximumDose,
    T_300a_0028_targetUnderdoseVolumeFraction, T_300a_002a_organAtRiskFullVolumeDose,
    T_300a_002b_organAtRiskLimitDose, T_300a_002c_organAtRiskMaximumDose,
    T_300a_002d_organAtRiskOverdoseVolumeFraction, T_300c_0051_referencedDoseReferenceNumber,
    T_300a_010c_cumulativeDoseReferenceCoefficient};

const unsigned int doseReference[] = {
    T_300a_0012_doseReferenceNumber, T_300a_0013_doseReferenceUid, T_300a_0014_doseReferenceStructureType,
    T_300a_0016_doseReferenceDescription, T_3006_0084_referencedRoiNumber,
    T_300a_0018_doseReferencePointCoordinates, T_300a_001a_nominalPriorDose, T_300a_0020_doseReferenceType,
    T_300a_0021_constraintWeight, T_300a_0022_deliveryWarningDose, T_300a_0023_deliveryMaximumDose,
    T_300a_0025_targetMinimumDose, T_300a_0026_targetPrescriptionDose, T_300a_0027_targetMaximumDose,
    T_300a_0028_targetUnderdoseVolumeFraction, T_300a_002a_organAtRiskFullVolumeDose,
    T_300a_002b_organAtRiskLimitDose, T_300a_002c_organAtRiskMaximumDose,
    T_300a_002d_organAtRiskOverdoseVolumeFraction};



const unsigned int fractionGroup[] = {
    T_300a_0071_fractionGroupNumber, T_300a_0072_fractionGroupDescription,
    T_300c_0050_referencedDoseReferenceSequence, T_300c_0080_referencedDoseSequence,
    T_300a_0078_numberOfFractionsPlanned, T_300a_0079_numberOfFractionPatternDigitsPerDay,
    T_300a_007a_repeatFractionCycleLength, T_300a_007b_fractionPattern, T_300a_0080_numberOfBeams,
    T_300c_0004_referencedBeamSequence, T_300a_00a0_numberOfBrachyApplicationSetups,
    T_300c_000a_referencedBrachyApplicationSetupSequence};

const unsigned int beam[] = {
    T_300a_00c0_beamNumber, T_300a_00c2_beamName, T_300a_00c3_beamDescription, T_300a_00c4_beamType,
    T_300a_00c6_radiationType, T_300a_00c7_highDoseTechniqueType, T_300a_00b2_treatmentMachineName,
    T_0008_0070_manufacturer, T_0008_0080_institutionName, T_0008_0081_institutionAddress,
    T_0008_1040_institutionalDepartmentName, T_0008_1090_manufacturerModelName,
    T_0018_1000_deviceSerialNumber, T_300a_00b3_primaryDosimeterUnit, T_300a_00b4_sourceAxisDistance,
    T_300a_00b6_beamLimitingDeviceSequence, T_300c_006a_referencedPatientSetupNumber,
    T_300c_0042_referencedReferenceImageSequence, T_300a_00ca_plannedVerificationImageSequence,
    T_300a_00ce_treatmentDeliveryType, T_300c_0080_referencedDoseSequence, T_300a_00d0_numberOfWedges,
    T_300a_00d1_wedgeSequence, T_300a_00e0_numberOfCompensators, T_300a_00e2_totalCompensatorTrayFactor,
    T_300a_00e3_compensatorSequence, T_300a_00ed_numberOfBoli, T_300c_00b0_referencedBolusSequence,
    T_300a_00f0_numberOfBlocks, T_300a_00f2_totalBlockTrayFactor, T_300a_00f4_blockSequence,
    T_300a_0107_applicatorSequence, T_300a_010e_finalCumulativeMetersetWeight,
    T_300a_0110_numberOfControlPoints, T_300a_0111_controlPointSequence,
    T_300c_00a0_referencedToleranceTableNumber, T_300a_00c5_beamDeliveryDurationLimit};

const unsigned int beamLimitingDevice[] = {
    T_300a_00b8_rtBeamLimitingDeviceType, T_300a_00ba_sourceToBeamLimitingDeviceDistance,
    T_300a_00bb_isocenterToBeamLimitingDeviceDistance, T_300a_00bc_numberOfLeafJawPairs,
    T_300a_00be_leafPositionBoundaries};


const unsigned int wedge[] = {
    T_300a_00d2_wedgeNumber, T_300a_00d3_wedgeType, T_300a_00d4_wedgeId, T_300a_00f9_accessoryCode,
    T_300a_00d5_wedgeAngle, T_300a_00d6_wedgeFactor, T_300a_00d7_totalWedgeTrayWaterEquivalentThickness,
    T_300a_00d8_wedgeOrientation, T_300a_00d9_isocenterToWedgeTrayDistance,
    T_300a_00da_sourceToWedgeTrayDistance, T_300a_00db_wedgeThinEdgePosition, T_300a_00de_effectiveWedgeAngle};

const unsigned int compensator[] = {
    T_300a_02eb_compensatorDescription, T_300a_00e4_compensatorNumber, T_300a_00ee_compensatorType,
    T_300a_00e1_materialId, T_300a_00e5_compensatorId, T_300a_00f9_accessoryCode,
    T_300a_00e6_sourceToCompensatorTrayDistance, T_300a_02e0_compensatorDivergence,
    T_300a_02e1_compensatorMountingPosition, T_300a_00e7_compensatorRows, T_300a_00e8_compensatorColumns,
    T_300a_00e9_compensatorPixelSpacing, T_300a_00ea_compensatorPosition,
    T_300a_00eb_compensatorTransmissionData, T_300a_00ec_compensatorThicknessData,
    T_300a_02e2_sourceToCompensatorDistance, T_300a_00ef_compensatorTrayId,
    T_300a_02e3_totalCompensatorTrayWaterEquivalentThickness, T_300a_02e4_isocenterToCompensatorTrayDistance,
    T_300a_02e5_compensatorColumnOffset, T_300a_02e6_isocenterToCompensatorDistances,
    T_300a_02e7_compensatorRelativeStoppingPowerRatio, T_300a_02e8_compensatorMillingToolDiameter};

const unsigned int block[] = {
    T_300a_00f5_blockTrayId, T_300a_00f9_accessoryCode, T_300a_00f6_sourceToBlockTrayDistance,
    T_300a_00f7_isocenterToBlockTrayDistance, T_300a_00f3_totalBlockTrayWaterEquivalentThickness,
    T_300a_00f8_blockType, T_300a_00fa_blockDivergence, T_300a_00fb_blockMountingPosition,
    T_300a_00fc_blockNumber, T_300a_00fe_blockName, T_300a_00e1_materialId, T_300a_0100_blockThickness,
    T_300a_0102_blockTransmission, T_300a_0104_blockNumberOfPoints, T_300a_0106_blockData};

const unsigned int applicator[] = {
    T_300a_0108_applicatorId, T_300a_00f9_accessoryCode, T_300a_0109_applicatorType,
    T_300a_010a_applicatorDescription};

const unsigned int controlPoint[] = {
    T_300a_0112_controlPointIndex, T_300a_0134_cumulativeMetersetWeight,
    T_300c_0050_referencedDoseReferenceSequence, T_300a_0114_nominalBeamEnergy, T_300a_0115_doseRateSet,
    T_300a_0116_wedgePositionSequence, T_300a_011a_beamLimitingDevicePositionSequence,
    T_300a_011e_gantryAngle, T_300a_011f_gantryRotationDirection, T_300a_014a_gantryPitchAngle,
    T_300a_014c_gantryPitchRotationDirection, T_300a_0120_beamLimitingDeviceAngle,
    T_300a_0121_beamLimitingDeviceRotationDirection, T_300a_0122_patientSupportAngle,
    T_300a_0123_patientSupportRotationDirection, T_300a_0124_tableTopEccentricAxisDistance,
    T_300a_0125_tableTopEccentricAngle, T_300a_0126_tableTopEccentricRotationDirection,
    T_300a_0128_tableTopVerticalPosition, T_300a_0129_tableTopLongitudinalPosition,
    T_300a_012a_tableTopLateralPosition, T_300a_0140_tableTopPitchAngle,
    T_300a_0142_tableTopPitchRotationDirection, T_300a_0144_tableTopRollAngle,
    T_300a_0146_tableTopRollRotationDirection, T_300a_012c_isocenterPosition, T_300a_012e_surfaceEntryPoint,
    T_300a_0130_sourceToSurfaceDistance, T_300a_0132_sourceToExternalContourDistance,
    T_300a_0133_externalContourEntryPoint};

const unsigned int wedgePosition[] = {T_300c_00c0_referencedWedgeNumber, T_300a_0118_wedgePosition};

const unsigned int beamLimitingDevicePosition[] = {
    T_300a_00b8_rtBeamLimitingDeviceType, T_300a_011c_leafJawPositions};

const unsigned int patientSetup[] = {
    T_0018_5100_patientPosition, T_300a_0182_patientSetupNumber, T_300a_0183_patientSetupLabel,
    T_300a_0184_patientAdditionalPosition, T_300a_0190_fixationDeviceSequence,
    T_300a_01a0_shieldingDeviceSequence, T_300a_01b0_setupTechnique, T_300a_01b2_setupTechniqueDescription,
    T_300a_01b4_setupDeviceSequence, T_300a_01d0_setupReferenceDescription,
    T_300a_01d2_tableTopVerticalSetupDisplacement, T_300a_01d4_tableTopLongitudinalSetupDisplacement,
    T_300a_01d6_tableTopLateralSetupDisplacement};

const unsigned int fixationDevice[] = {
    T_300a_0192_fixationDeviceType, T_300a_0194_fixationDeviceLabel, T_300a_0196_fixationDeviceDescription,
    T_300a_0198_fixationDevicePosition, T_300a_0199_fixationDevicePitchAngle,
    T_300a_019a_fixationDeviceRollAngle, T_300a_00f9_accessoryCode};



const unsigned int treatmentMachine[] = {
    T_300a_00b2_treatmentMachineName, T_0008_0070_manufacturer, T_0008_0080_institutionName,
    T_0008_0081_institutionAddress, T_0008_1040_institutionalDepartmentName,
    T_0008_1090_manufacturerModelName, T_0018_1000_deviceSerialNumber};

const unsigned int source[] = {
    T_300a_0212_sourceNumber, T_300a_0214_sourceType, T_300a_0216_sourceManufacturer,
    T_300a_0218_activeSourceDiameter, T_300a_021a_activeSourceLength, T_300a_021b_sourceModelId,
    T_300a_021c_sourceDescription, T_300a_0222_sourceEncapsulationNominalThickness,
    T_300a_0224_sourceEncapsulationNominalTransmission, T_300a_0226_sourceIsotopeName,
    T_300a_0228_sourceIsotopeHalfLife, T_300a_0229_sourceStrengthUnits, T_300a_022a_referenceAirKermaRate,
    T_300a_022b_sourceStrength, T_300a_022c_sourceStrengthReferenceDate, T_300a_022e_sourceStrengthReferenceTime};

const unsigned int applicationSetup[] = {
    T_300a_0232_applicationSetupType, T_300a_0234_applicationSetupNumber, T_300a_0236_applicationSetupName,
    T_300a_0238_applicationSetupManufacturer, T_300a_0240_templateNumber, T_300a_0242_templateType,
    T_300a_0244_templateName, T_300c_0042_referencedReferenceImageSequence, T_300a_0250_totalReferenceAirKerma,
    T_300a_0260_brachyAccessoryDeviceSequence, T_300c_0050_referencedDoseReferenceSequence,
    T_300a_0280_channelSequence};


const unsigned int channel[] = {
    T_300a_0282_channelNumber, T_300a_0284_channelLength, T_300a_0271_channelEffectiveLength,
    T_300a_0272_channelInnerLength, T_300a_0273_afterloaderChannelId, T_300a_0286_channelTotalTime,
    T_300a_0288_sourceMovementType, T_300a_028a_numberOfPulses, T_300a_028c_pulseRepetitionInterval,
    T_300a_0290_sourceApplicatorNumber, T_300a_0291_sourceApplicatorId, T_300a_0292_sourceApplicatorType,
    T_300a_0294_sourceApplicatorName, T_300a_0296_sourceApplicatorLength,
    T_300a_0298_sourceApplicatorManufacturer, T_300a_00e1_materialId,
    T_300a_029c_sourceApplicatorWallNominalThickness, T_300a_029e_sourceApplicatorWallNominalTransmission,
    T_300a_02a0_sourceApplicatorStepSize, T_300a_0274_sourceApplicatorTipLength,
    T_300a_02a1_applicatorShapeReferencedRoiNumber, T_3006_0084_referencedRoiNumber,
    T_300a_02a2_transferTubeNumber, T_300a_02a4_transferTubeLength, T_300a_02b0_channelShieldSequence,
    T_300c_000e_referencedSourceNumber, T_300a_0110_numberOfControlPoints,
    T_300a_02c8_finalCumulativeTimeWeight, T_300a_02d0_brachyControlPointSequence};


const unsigned int brachyControlPoint[] = {
    T_300a_0112_controlPointIndex, T_300a_02d2_controlPointRelativePosition,
    T_300a_02d4_controlPoint3dPosition, T_300a_02d6_cumulativeTimeWeight,
    T_300c_0055_brachyReferencedDoseReferenceSequence};

const unsigned int referencedRtPlan[] = {
    T_0008_1150_referencedSopClassUid, T_0008_1155_referencedSopInstanceUid,
    T_300c_0020_referencedFractionGroupSequence};

const unsigned int referencedBeam[] = {
    T_300c_0006_referencedBeamNumber, T_300a_0083_referencedDoseReferenceUid, T_300a_0084_beamDose,
    T_300a_0086_beamMeterset, T_300a_0088_beamDosePointDepth, T_300a_0089_beamDosePointEquivalentDepth,
    T_300a_008a_beamDosePointSsd, T_300a_008b_beamDoseMeaning,
    T_300a_008c_beamDoseVerificationControlPointSequence, T_300a_0090_beamDoseType,
    T_300a_0091_alternateBeamDose, T_300a_0092_alternateBeamDoseType, T_300a_0093_depthValueAveragingFlag,
    T_300a_0094_beamDosePointSourceToExternalContourDistance};

const unsigned int referencedBrachyApplicationSetup[] = {
    T_300c_000c_referencedBrachyApplicationSetupNumber, T_300a_00a2_brachyApplicationSetupDoseSpecificationPoint,
    T_300a_00a4_brachyApplicationSetupDose};

const unsigned int referencedFractionGroup[] = {
    T_300c_0022_referencedFractionGroupNumber, T_300c_0004_referencedBeamSequence,
    T_300c_000a_referencedBrachyApplicationSetupSequence};

const unsigned int referencedReferenceImage[] = {
    T_0008_1150_referencedSopClassUid, T_0008_1155_referencedSopInstanceUid, T_0008_1160_referencedFrameNumber,
    T_300a_00c8_referenceImageNumber, T_300c_0008_startCumulativeMetersetWeight,
    T_300c_0009_endCumulativeMetersetWeight};



const DcDictSqDef radiotherapyLists[] = {
    {T_3002_0030_exposureSequence, exposure, countOf(exposure)},
    {T_3004_0050_dvhSequence, dvh, countOf(dvh)},
    {T_3006_0010_referencedFrameOfReferenceSequence, referencedFrameOfReference,
     countOf(referencedFrameOfReference)},
    {T_3006_0012_rtReferencedStudySequence, rtReferencedStudy, countOf(rtReferencedStudy)},
    {T_3006_0014_rtReferencedSeriesSequence, rtReferencedSeries, countOf(rtReferencedSeries)},
    {T_3006_0016_contourImageSequence, contourImage, countOf(contourImage)},
    {T_3006_0020_structureSetRoiSequence, structureSetRoi, countOf(structureSetRoi)},
    {T_3006_0030_rtRelatedRoiSequence, rtRelatedRoi, countOf(rtRelatedRoi)},
    {T_3006_0039_roiContourSequence, roiContour, countOf(roiContour)},
    {T_3006_0040_contourSequence, contour, countOf(contour)},
    {T_3006_0080_rtroiObservationsSequence, rtRoiObservations, countOf(rtRoiObservations)},
    {T_3006_0086_rtroiIdentificationCodeSequence, code, countOf(code)},
    {T_300a_0010_doseReferenceSequence, doseReference, countOf(doseReference)},
    {T_300a_0070_fractionGroupSequence, fractionGroup, countOf(fractionGroup)},
    {T_300a_00b0_beamSequence, beam, countOf(beam)},
    {T_300a_00b6_beamLimitingDeviceSequence, beamLimitingDevice, countOf(beamLimitingDevice)},
    {T_300a_00d1_wedgeSequence, wedge, countOf(wedge)},
    {T_300a_00e3_compensatorSequence, compensator, countOf(compensator)},
    {T_300a_00f4_blockSequence, block, countOf(block)},
    {T_300a_0107_applicatorSequence, applicator, countOf(applicator)},
    {T_300a_0111_controlPointSequence, controlPoint, countOf(controlPoint)},
    {T_300a_0116_wedgePositionSequence, wedgePosition, countOf(wedgePosition)},
    {T_300a_011a_beamLimitingDevicePositionSequence, beamLimitingDevicePosition,
     countOf(beamLimitingDevicePosition)},
    {T_300a_0180_patientSetupSequence, patientSetup, countOf(patientSetup)},
    {T_300a_0190_fixationDeviceSequence, fixationDevice, countOf(fixationDevice)},
    {T_300a_0206_treatmentMachineSequence, treatmentMachine, countOf(treatmentMachine)},
    {T_300a_0210_sourceSequence, source, countOf(source)},
    {T_300a_0230_applicationSetupSequence, applicationSetup, countOf(applicationSetup)},
    {T_300a_0280_channelSequence, channel, countOf(channel)},
    {T_300a_02d0_brachyControlPointSequence, brachyControlPoint, countOf(brachyControlPoint)},
    {T_300c_0002_referencedRtPlanSequence, referencedRtPlan, countOf(referencedRtPlan)},
    {T_300c_0004_referencedBeamSequence, referencedBeam, countOf(referencedBeam)},
    {T_300c_000a_referencedBrachyApplicationSetupSequence, referencedBrachyApplicationSetup,
     countOf(referencedBrachyApplicationSetup)},
    {T_300c_0020_referencedFractionGroupSequence, referencedFractionGroup, countOf(referencedFractionGroup)},
    {T_300c_0042_referencedReferenceImageSequence, referencedReferenceImage, countOf(referencedReferenceImage)},
    {T_300c_0050_referencedDoseReferenceSequence, doseLimits, countOf(doseLimits)},
    {T_300c_0060_referencedStructureSetSequence, sopReference, countOf(sopReference)},
    {T_300c_0080_referencedDoseSequence, sopReference, countOf(sopReference)},
};

// ---- print ------------------------------------------------------------------------

const unsigned int printerConfiguration[] = {
    T_0008_115a_sopClassesSupported, T_2000_0061_maximumMemoryAllocation, T_2000_00a0_memoryBitDepth,
    T_2000_00a1_printingBitDepth, T_2000_00a2_mediaInstalledSequence, T_2000_00a4_otherMediaAvailableSequence,
    T_2000_00a8_supportedImageDisplayFormatsSequence, T_2010_00a6_defaultMagnificationType,
    T_2010_00a7_otherMagnificationTypesAvailable, T_2010_00a8_defaultSmoothingType,
    T_2010_00a9_otherSmoothingTypesAvailable, T_2010_0054_defaultPrinterResolutionId,
    T_2010_0376_printerPixelSpacing, T_2010_0154_maximumCollatedFilms,
    T_2010_0152_configurationInformationDescription};

const unsigned int media[] = {
    T_0020_0019_itemNumber, T_2000_0030_mediumType, T_2010_0050_filmSizeId, T_2010_0120_minDensity,
    T_2010_0130_maxDensity};

const unsigned int imageDisplayFormat[] = {
    T_0028_0010_rows, T_0028_0011_columns, T_2010_0010_imageDisplayFormat, T_2010_0040_filmOrientation,
    T_2010_0050_filmSizeId, T_2010_0052_printerResolutionId, T_2010_0376_printerPixelSpacing,
    T_2020_00a0_requestedImageSizeFlag};

const unsigned int printImage[] = {
    T_0028_0002_samplesPerPixel, T_0028_0004_photometricInterpretation, T_0028_0006_planarConfiguration,
    T_0028_0010_rows, T_0028_0011_columns, T_0028_0034_pixelAspectRatio, T_0028_0100_bitsAllocated,
    T_0028_0101_bitsStored, T_0028_0102_highBit, T_0028_0103_pixelRepresentation, T_7fe0_0010_pixelData};


const unsigned int overlayPixelData[] = {
    T_60xx_0010_overlayRows, T_60xx_0011_overlayColumns, T_60xx_0040_overlayType, T_60xx_0050_overlayOrigin,
    T_60xx_0100_bitAllocated, T_60xx_0102_overlayBitPosition, T_60xx_3000_overlayData};


const DcDictSqDef printLists[] = {
    {T_2000_001e_printerConfigurationSequence, printerConfiguration, countOf(printerConfiguration)},
    {T_2000_00a2_mediaInstalledSequence, media, countOf(media)},
    {T_2000_00a8_supportedImageDisplayFormatsSequence, imageDisplayFormat, countOf(imageDisplayFormat)},
    {T_2000_0500_referencedFilmBoxSequence, sopReference, countOf(sopReference)},
    {T_2010_0500_referencedFilmSessionSequence, sopReference, countOf(sopReference)},
    {T_2010_0510_referencedImageBoxSequence, sopReference, countOf(sopReference)},
    {T_2010_0520_referencedBasicAnnotationBoxSequence, sopReference, countOf(sopReference)},
    {T_2020_0110_basicGrayscaleImageSequence, printImage, countOf(printImage)},
    {T_2020_0111_basicColorImageSequence, printImage, countOf(printImage)},
    {T_2040_0020_overlayPixelDataSequence, overlayPixelData, countOf(overlayPixelData)},
    {T_2040_0500_referencedImageBoxSequence, sopReference, countOf(sopReference)},
    {T_2050_0010_presentationLutSequence, voiLut, countOf(voiLut)},
    {T_2050_0500_referencedPresentationLutSequence, sopReference, countOf(sopReference)},
};

// ---- ultrasound -------------------------------------------------------------------

const unsigned int eventTimer[] = {T_0008_2134_eventTimeOffset, T_0008_2135_eventCodeSequence};

const unsigned int viewCode[] = {
    CODE_MEMBERS, T_0008_0121_equivalentCodeSequence, T_0054_0222_viewModifierCodeSequence};

const DcDictSqDef ultrasoundLists[] = {
    {T_0040_000a_stageCodeSequence, code, countOf(code)},
    {T_0008_2133_eventTimerSequence, eventTimer, countOf(eventTimer)},
    {T_0008_2135_eventCodeSequence, code, countOf(code)},
    {T_0054_0220_viewCodeSequence, viewCode, countOf(viewCode)},
    {T_0054_0222_viewModifierCodeSequence, code, countOf(code)},
};

// ---- visible light ---------------------------------------------------------------

const unsigned int anatomicRegion[] = {
    CODE_MEMBERS, T_0008_0121_equivalentCodeSequence, T_0008_2220_anatomicRegionModifierSequence};

const unsigned int primaryAnatomicStructure[] = {
    CODE_MEMBERS, T_0008_0121_equivalentCodeSequence, T_0008_2230_primaryAnatomicStructureModifierSequence};

const DcDictSqDef visibleLightLists[] = {
    {T_0008_2218_anatomicRegionSequence, anatomicRegion, countOf(anatomicRegion)},
    {T_0008_2220_anatomicRegionModifierSequence, code, countOf(code)},
    {T_0008_2228_primaryAnatomicStructureSequence, primaryAnatomicStructure, countOf(primaryAnatomicStructure)},
    {T_0008_2230_primaryAnatomicStructureModifierSequence, code, countOf(code)},
};

// ---- waveform ----------------------------------------------------------------------

const unsigned int waveform[] = {
    T_0018_1068_multiplexGroupTimeOffset, T_0018_1069_triggerTimeOffset, T_0018_106e_triggerSamplePosition,
    T_003a_0004_waveformOriginality, T_003a_0005_numberOfWaveformChannels, T_003a_0010_numberOfWaveformSamples,
    T_003a_001a_samplingFrequency, T_003a_0020_multiplexGroupLabel, T_003a_0200_channelDefinitionSequence,
    T_003a_0310_multiplexGroupUid, T_003a_0311_powerlineFrequency, T_5400_1004_waveformBitsAllocated,
    T_5400_1006_waveformSampleInterpretation, T_5400_100a_waveformPaddingValue, T_5400_1010_waveformData};

const unsigned int channelDefinition[] = {
    T_003a_0202_waveformChannelNumber, T_003a_0203_channelLabel, T_003a_0205_channelStatus,
    T_003a_0208_channelSourceSequence, T_003a_0209_channelSourceModifiersSequence,
    T_003a_020a_sourceWaveformSequence, T_003a_020c_channelDerivationDescription,
    T_003a_0210_channelSensitivity, T_003a_0211_channelSensitivityUnitsSequence,
    T_003a_0212_channelSensitivityCorrectionFactor, T_003a_0213_channelBaseline, T_003a_0214_channelTimeSkew,
    T_003a_0215_channelSampleSkew, T_003a_0218_channelOffset, T_003a_021a_waveformBitsStored,
    T_003a_0220_filterLowFrequency, T_003a_0221_filterHighFrequency, T_003a_0222_notchFilterFrequency,
    T_003a_0223_notchFilterBandwidth, T_003a_0312_channelImpedanceSequence, T_5400_0110_channelMinimumValue,
    T_5400_0112_channelMaximumValue};

const unsigned int sourceWaveform[] = {
    T_0008_1150_referencedSopClassUid, T_0008_1155_referencedSopInstanceUid,
    T_0040_a0b0_referencedWaveformChannels};

const unsigned int presentationGroup[] = {T_003a_0241_presentationGroupNumber, T_003a_0242_channelDisplaySequence};

const unsigned int channelDisplay[] = {
    T_0040_a0b0_referencedWaveformChannels, T_003a_0218_channelOffset,
    T_003a_0244_channelRecommendedDisplayCieLabValue, T_003a_0245_channelPosition,
    T_003a_0246_displayShadingFlag, T_003a_0247_fractionalChannelDisplayScale,
    T_003a_0248_absoluteChannelDisplayScale};



const unsigned int curveReferencedOverlay[] = {
    T_0008_1150_referencedSopClassUid, T_0008_1155_referencedSopInstanceUid,
    T_50xx_2610_curveReferencedOverlayGroup};

const DcDictSqDef waveformLists[] = {
    {T_5400_0100_waveformSequence, waveform, countOf(waveform)},
    {T_003a_0200_channelDefinitionSequence, channelDefinition, countOf(channelDefinition)},
    {T_003a_0208_channelSourceSequence, code, countOf(code)},
    {T_003a_0209_channelSourceModifiersSequence, code, countOf(code)},
    {T_003a_020a_sourceWaveformSequence, sourceWaveform, countOf(sourceWaveform)},
    {T_003a_0211_channelSensitivityUnitsSequence, code, countOf(code)},
    {T_003a_0240_waveformPresentationGroupSequence, presentationGroup, countOf(presentationGroup)},
    {T_003a_0242_channelDisplaySequence, channelDisplay, countOf(channelDisplay)},
    {T_0008_113a_referencedWaveformSequence, sopReference, countOf(sopReference)},
    {T_50xx_2600_curveReferencedOverlaySequence, curveReferencedOverlay, countOf(curveReferencedOverlay)},
};

}

#undef CODE_MEMBERS

const DcDictSqGroupDef DcDictBuiltinSqGroups[] = {
    {"general and referenced", generalLists, countOf(generalLists)},
    {"codes, requests and procedure steps", codeLists, countOf(codeLists)},
    {"digital X-ray", digitalXRayLists, countOf(digitalXRayLists)},
    {"nuclear medicine and PET", nuclearMedicineLists, countOf(nuclearMedicineLists)},
    {"radiotherapy", radiotherapyLists, countOf(radiotherapyLists)},
    {"print", printLists, countOf(printLists)},
    {"ultrasound", ultrasoundLists, countOf(ultrasoundLists)},
    {"visible light", visibleLightLists, countOf(visibleLightLists)},
    {"waveform", waveformLists, countOf(waveformLists)},
};
const int DcDictBuiltinSqGroupCount = countOf(DcDictBuiltinSqGroups);
