#pragma once

#include "xml_node_list.h"

// One handler per RPC: reads the arguments, asks the backend, and writes the answer or, on a refusal, a
// Fault.

/// What a handler is given.
///
/// @param envelope    the validated envelope; borrowed
/// @param methodName  the method's name as the document has it, possibly cut
/// @param acsId       the server's session ID, echoed in the answer's header; null for none
/// @param kind        message kind; a handler serves requests only
/// @param length      0 on entry; receives the length of the answer
/// @param flag        raised, never cleared: by SetParameterValues, AddObject and DeleteObject when what was
/// set takes
///                    effect only after a reboot; by Download when the download was accepted
/// @return the answer's text, freed by the caller with free; null when the message gets no answer at all
using RpcHandler = char *(XMLNode *envelope, const char *methodName, const char *acsId, int kind, int *length,
                          int *flag);

RpcHandler handle_GetRPCMethodsReq;
RpcHandler handle_SetParamValReq;
RpcHandler handle_GetParamValReq;
RpcHandler handle_GetParamNamesReq;
RpcHandler handle_GetSetParamAttrReq; ///< GetParameterAttributes and SetParameterAttributes
RpcHandler handle_ADDObjReq;          ///< AddObject and DeleteObject
RpcHandler handle_RebootReq;
RpcHandler handle_FactoryResetReq;
RpcHandler handle_ScheduleInformReq;
RpcHandler handle_DownloadReq;
RpcHandler handle_UploadReq;
