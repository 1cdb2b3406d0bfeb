#!/usr/bin/python3
"""A desktop's session manager, by the library of X11's session protocol.

It prints "ready ADDRESS", then what its clients do. SIGUSR1 has it log out: every client saves itself, then it is
told to die.
"""

import ctypes
import os
import select
import signal
import struct

SAVE_LOCAL, SAVE_BOTH = 1, 2
NO_INTERACTION = 0
RESTART_STYLES = {0: "if running", 1: "anyway", 2: "immediately", 3: "never"}
CONNECTION_PENDING, CONNECTION_ACCEPTED = 0, 1
MESSAGES_IN_ORDER = 0

# Their functions are found in one place, whichever library has them.
library = ctypes.CDLL("libSM.so.6", mode=ctypes.RTLD_GLOBAL)
connections_library = ctypes.CDLL("libICE.so.6")

Pointer = ctypes.c_void_p
NewClient = ctypes.CFUNCTYPE(ctypes.c_int, Pointer, Pointer, ctypes.POINTER(ctypes.c_ulong), Pointer, Pointer)
Admission = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_char_p)
RegisterClient = ctypes.CFUNCTYPE(ctypes.c_int, Pointer, Pointer, Pointer)
ForClient = ctypes.CFUNCTYPE(None, Pointer, Pointer)
WithNumber = ctypes.CFUNCTYPE(None, Pointer, Pointer, ctypes.c_int)
WithNumberAndList = ctypes.CFUNCTYPE(None, Pointer, Pointer, ctypes.c_int, Pointer)
SaveRequest = ctypes.CFUNCTYPE(None, Pointer, Pointer, ctypes.c_int, ctypes.c_int, ctypes.c_int, ctypes.c_int,
                               ctypes.c_int)


class PropertyValue(ctypes.Structure):
    _fields_ = [("length", ctypes.c_int), ("bytes", Pointer)]


class Property(ctypes.Structure):
    _fields_ = [("name", ctypes.c_char_p), ("type", ctypes.c_char_p), ("count", ctypes.c_int),
                ("values", ctypes.POINTER(PropertyValue))]


class Callbacks(ctypes.Structure):
    """Each function is followed by what it is called with, here nothing."""
    _fields_ = [field for name, kind in (
        ("register_client", RegisterClient), ("interact_request", WithNumber), ("interact_done", WithNumber),
        ("save_request", SaveRequest), ("save_phase2_request", ForClient), ("save_done", WithNumber),
        ("close", WithNumberAndList), ("set_properties", WithNumberAndList),
        ("delete_properties", WithNumberAndList), ("get_properties", ForClient),
    ) for field in ((name, kind), (f"{name}_data", Pointer))]


def function(of, name, result, *arguments):
    found = getattr(of, name)
    found.restype, found.argtypes = result, arguments
    return found


initialize = function(library, "SmsInitialize", ctypes.c_int, ctypes.c_char_p, ctypes.c_char_p, NewClient, Pointer,
                      Admission, ctypes.c_int, ctypes.c_char_p)
generate_identifier = function(library, "SmsGenerateClientID", Pointer, Pointer)
reply_to_registration = function(library, "SmsRegisterClientReply", ctypes.c_int, Pointer, Pointer)
save_yourself = function(library, "SmsSaveYourself", None, Pointer, ctypes.c_int, ctypes.c_int, ctypes.c_int,
                         ctypes.c_int)
save_phase2 = function(library, "SmsSaveYourselfPhase2", None, Pointer)
save_complete = function(library, "SmsSaveComplete", None, Pointer)
die = function(library, "SmsDie", None, Pointer)
clean_up = function(library, "SmsCleanUp", None, Pointer)
connection_of = function(library, "SmsGetIceConnection", Pointer, Pointer)

refuse_transport = function(connections_library, "_IceTransNoListen", ctypes.c_int, ctypes.c_char_p)
listen = function(connections_library, "IceListenForConnections", ctypes.c_int, ctypes.POINTER(ctypes.c_int),
                  ctypes.POINTER(ctypes.POINTER(Pointer)), ctypes.c_int, ctypes.c_char_p)
addresses = function(connections_library, "IceComposeNetworkIdList", ctypes.c_char_p, ctypes.c_int,
                     ctypes.POINTER(Pointer))
admit = function(connections_library, "IceSetHostBasedAuthProc", None, Pointer, Admission)
listening_descriptor = function(connections_library, "IceGetListenConnectionNumber", ctypes.c_int, Pointer)
accept = function(connections_library, "IceAcceptConnection", Pointer, Pointer, ctypes.POINTER(ctypes.c_int))
connection_status = function(connections_library, "IceConnectionStatus", ctypes.c_int, Pointer)
descriptor = function(connections_library, "IceConnectionNumber", ctypes.c_int, Pointer)
process = function(connections_library, "IceProcessMessages", ctypes.c_int, Pointer, Pointer, Pointer)
close_connection = function(connections_library, "IceCloseConnection", ctypes.c_int, Pointer)
stop_listening = function(connections_library, "IceFreeListenObjs", None, ctypes.c_int, ctypes.POINTER(Pointer))


def tell(*words):
    print(*words, flush=True)


class SessionManager:
    def __init__(self):
        self.clients = {}
        self.connections = {}
        self.is_ending = False
        self.callbacks = Callbacks(
            register_client=RegisterClient(self.register), interact_request=WithNumber(self.refuse_interaction),
            interact_done=WithNumber(lambda *_: None), save_request=SaveRequest(lambda *_: None),
            save_phase2_request=ForClient(lambda client, _: save_phase2(client)),
            save_done=WithNumber(self.saved), close=WithNumberAndList(self.closed),
            set_properties=WithNumberAndList(self.take_properties),
            delete_properties=WithNumberAndList(lambda *_: None), get_properties=ForClient(lambda *_: None))
        self.new_client = NewClient(self.welcome)
        self.admission = Admission(lambda host: 1)
        # Nobody but this desktop is to reach it.
        refuse_transport(b"tcp")
        error = ctypes.create_string_buffer(256)
        self.count, self.sockets = ctypes.c_int(), ctypes.POINTER(Pointer)()
        if not (initialize(b"Glimmerwick", b"1", self.new_client, None, self.admission, len(error), error)
                and listen(ctypes.byref(self.count), ctypes.byref(self.sockets), len(error), error)):
            raise SystemExit(error.value.decode())
        for index in range(self.count.value):
            admit(self.sockets[index], self.admission)

    # What clients do

    def welcome(self, _client, _data, mask, callbacks, _reason):
        mask[0] = (1 << 10) - 1
        ctypes.memmove(callbacks, ctypes.byref(self.callbacks), ctypes.sizeof(Callbacks))
        return 1

    def register(self, client, _data, previous):
        if previous:
            return 0
        reply_to_registration(client, generate_identifier(client))
        self.clients[connection_of(client)] = client
        save_yourself(client, SAVE_LOCAL, 0, NO_INTERACTION, 0)
        tell("registered")
        return 1

    def refuse_interaction(self, _client, _data, _kind):
        tell("wants to ask")

    def saved(self, client, _data, success):
        tell("saved" if success else "failed to save")
        if self.is_ending:
            die(client)
        else:
            save_complete(client)

    def take_properties(self, _client, _data, count, properties):
        for index in range(count):
            found = ctypes.cast(properties, ctypes.POINTER(ctypes.POINTER(Property)))[index].contents
            if found.name == b"RestartStyleHint":
                style = struct.unpack("B", ctypes.string_at(found.values[0].bytes, 1))[0]
                tell("restart:", RESTART_STYLES[style])

    def closed(self, client, _data, _count, _reasons):
        connection = connection_of(client)
        self.clients.pop(connection, None)
        self.connections.pop(connection, None)
        clean_up(client)
        close_connection(connection)
        tell("closed")

    # What it does

    def log_out(self):
        self.is_ending = True
        for client in self.clients.values():
            save_yourself(client, SAVE_BOTH, 1, NO_INTERACTION, 0)

    def run(self):
        tell("ready", addresses(self.count, self.sockets).decode())
        reading, writing = os.pipe()
        os.set_blocking(writing, False)
        signal.set_wakeup_fd(writing)
        signal.signal(signal.SIGUSR1, lambda *_: self.log_out())
        signal.signal(signal.SIGTERM, lambda *_: self.leave())
        listening = {listening_descriptor(self.sockets[index]): self.sockets[index]
                     for index in range(self.count.value)}
        while True:
            of_clients = {descriptor(connection): connection for connection in self.connections}
            for ready in select.select([reading, *listening, *of_clients], [], [])[0]:
                if ready == reading:
                    os.read(reading, 64)
                elif ready in listening:
                    self.accept(listening[ready])
                elif of_clients[ready] in self.connections:
                    self.hear(of_clients[ready])

    def accept(self, socket):
        connection = accept(socket, ctypes.byref(ctypes.c_int()))
        while connection and connection_status(connection) == CONNECTION_PENDING:
            process(connection, None, None)
        if connection and connection_status(connection) == CONNECTION_ACCEPTED:
            self.connections[connection] = None

    def hear(self, connection):
        if process(connection, None, None) != MESSAGES_IN_ORDER and connection in self.connections:
            del self.connections[connection]
            self.clients.pop(connection, None)
            tell("lost")

    def leave(self):
        stop_listening(self.count, self.sockets)
        raise SystemExit(0)


if __name__ == "__main__":
    SessionManager().run()
