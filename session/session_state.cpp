#include "session_state.h"

#include <cstdio>
#include <cstdlib>

#include "print_to_syslog.h"
#include "text.h"

struct PendingMethod {
    char *name;      // owned
    char *sessionId; // owned; null when none was given
    PendingMethod *next;
};

struct SessionState {
    int holdRequests;
    int noMoreRequests;
    int acsMaxEnvelopes; // 0 while unknown
    PendingMethod *pending;
};

static SessionState *state = nullptr;

static void logState(const char *function, const char *message)
{
    printToSyslog("LOG_INFO", "TR069StateMachine", function, message);
}

static bool isVariable(const char *name, const char *variable)
{
    return safeStrncmp(name, variable, safeStrlen(variable)) == 0;
}

static void freePendingMethod(PendingMethod *method)
{
    free(method->name);
    free(method->sessionId);
    free(method);
}

// The link to the newest pending method that begins with name; it holds null when there is none.
static PendingMethod **findPending(const char *name)
{
    PendingMethod **link = &state->pending;
    while (*link != nullptr && safeStrncmp((*link)->name, name, safeStrlen(name)) != 0)
        link = &(*link)->next;
    return link;
}

int stateMachine_init()
{
    if (state == nullptr)
        state = static_cast<SessionState *>(calloc(1, sizeof *state));
    return state == nullptr ? 1 : 0;
}

void stateMachine_close()
{
    if (state == nullptr)
        return;
    while (state->pending != nullptr) {
        PendingMethod *method = state->pending;
        state->pending = method->next;
        freePendingMethod(method);
    }
    free(state);
    state = nullptr;
}

static void setOnce(int &variable, int value, const char *refusal)
{
    if (variable != 0)
        logState("setState", refusal);
    else
        variable = value;
}

int setState(const char *name, int value, const char *id, const char *kind)
{
    if (state == nullptr) {
        logState("setState", "State machine not initialized");
        return 3;
    }
    if (name == nullptr)
        return 0;
    if (kind != nullptr)
        return isVariable(kind, "RPC") ? setRPCMethodState(name, id) : 0;

    if (isVariable(name, "HoldRequests"))
        setOnce(state->holdRequests, value, "Hold request variable already set");
    else if (isVariable(name, "NoMoreRequests"))
        setOnce(state->noMoreRequests, value, "No More request variable already set");
    else if (isVariable(name, "ACSMaxEnvelopes"))
        setOnce(state->acsMaxEnvelopes, value, "ACS Max Envelopes already set variable already set");
    else
        logState("setState", "State machine dosnt the support the given variable");
    return 0;
}

int setRPCMethodState(const char *name, const char *id)
{
    if (name == nullptr || state == nullptr)
        return 1;
    PendingMethod *method = static_cast<PendingMethod *>(calloc(1, sizeof *method));
    if (method == nullptr) {
        logState("setRPCMethodState", "Error occured while allocating memory to RPCMethStateStr");
        return 1;
    }
    method->name = getMsg(name);
    method->sessionId = getMsg(id);
    if (method->name == nullptr || (id != nullptr && method->sessionId == nullptr)) {
        logState("setRPCMethodState", "Error occured while allocating memory to requestMethodName");
        freePendingMethod(method);
        return 1;
    }
    method->next = state->pending;
    state->pending = method;
    return 0;
}

static int removePending(const char *name)
{
    if (state->pending == nullptr)
        logState("resetState", "variable not set in the state machine");
    PendingMethod **link = findPending(name);
    PendingMethod *method = *link;
    if (method == nullptr)
        return 2;
    *link = method->next;
    freePendingMethod(method);
    return 0;
}

int resetState(const char *name, const char *kind)
{
    if (state == nullptr) {
        logState("resetState", "State machine not initialized");
        return 3;
    }
    if (name == nullptr)
        return 0;
    if (kind != nullptr)
        return removePending(name);

    if (isVariable(name, "HoldRequests")) {
        if (state->holdRequests == 1)
            state->holdRequests = 0;
        else
            logState("resetState", "Hold request variable is not set");
    } else if (isVariable(name, "NoMoreRequests")) {
        // The server cannot take it back within a session.
        logState("resetState", "cant reset No More requests variable");
    }
    return 0;
}

static int getVariable(const char *name)
{
    if (isVariable(name, "HoldRequests"))
        return state->holdRequests == 1 ? 1 : 0;
    if (isVariable(name, "NoMoreRequests"))
        return state->noMoreRequests == 1 ? 1 : 0;
    if (isVariable(name, "ACSMaxEnvelopes"))
        return state->acsMaxEnvelopes >= 1 ? state->acsMaxEnvelopes : 0;
    logState("getState", "Invalid Variable Name");
    return 2;
}

int getState(const char *name, const char *kind)
{
    if (state == nullptr) {
        logState("getState", "State machine not initialized");
        return 2;
    }
    if (name == nullptr) {
        logState("getState", "Variable or RPC method Name is NULL");
        return 2;
    }
    if (kind == nullptr)
        return getVariable(name);
    if (state->pending == nullptr)
        printf(".... nulll= %s\n", name);
    return *findPending(name) != nullptr ? 1 : 0;
}

const char *getSessionId(const char *name)
{
    if (state == nullptr || name == nullptr)
        return nullptr;
    const PendingMethod *method = *findPending(name);
    return method == nullptr ? nullptr : method->sessionId;
}

const char *getMethodNameById(const char *id)
{
    if (state == nullptr || id == nullptr)
        return nullptr;
    for (const PendingMethod *method = state->pending; method != nullptr; method = method->next) {
        if (method->sessionId != nullptr && safeStrncmp(method->sessionId, id, safeStrlen(id)) == 0)
            return method->name;
    }
    return nullptr;
}

int getOutStandingRequests()
{
    return state != nullptr && state->pending != nullptr ? 1 : 0;
}
