#!/usr/bin/env python3
"""Writes the seed corpus of every fuzz target: a few well-formed inputs each, in the
machine's byte order (little-endian), as the node's readers expect them.

    python3 fuzz/corpus/make_seeds.py      # rewrites fuzz/corpus/<target>/
"""
import os
import struct
import zlib
import base64

HERE = os.path.dirname(os.path.abspath(__file__))


def w(*words):
    return struct.pack("<%dI" % len(words), *words)


def h(*halves):
    return struct.pack("<%dH" % len(halves), *halves)


def text(s, size=None):
    b = s.encode() + b"\0"
    if size is not None:
        b = b.ljust(size, b"\0")
    return b


def padded(s):
    b = s.encode()
    return b + b"\0" * (((len(b) & ~3) + 4) - len(b))


def write(target, seeds):
    folder = os.path.join(HERE, target)
    os.makedirs(folder, exist_ok=True)
    for name in os.listdir(folder):
        os.remove(os.path.join(folder, name))
    for name, data in seeds.items():
        with open(os.path.join(folder, name), "wb") as f:
            f.write(data)


# ---- radio_signals: RMCI, RFTI, USI and the load module's own indications ----------
RMCI_CONN_ESTABLISH_REJ = 0x1706A02
RMCI_GET_CAPABILITIES_CFM = 0x1706A11
RFTI_GET_RESULT_DATA = 0x1706B24
KGM_IW_USI_UNIT_INFO_UPDATE_IND = 0x1742B03
ULSA_RMCI_SERVER_HUNT_IND = 0x1714400

trigger = h(1, 12) + w(100, 200)
entry = w(7, 1, 1) + w(1, 2, 3, 4, 5) + trigger
record1 = h(1, 8 + len(entry)) + w(1) + entry
record2 = h(2, 8) + w(0)
write("radio_signals", {
    "capabilities": w(RMCI_GET_CAPABILITIES_CFM, 1, 2) + h(2, 0) + record1 + record2,
    "unit_info": w(KGM_IW_USI_UNIT_INFO_UPDATE_IND, 1, 2, 0, 1) + bytes(64) + text("ru-1"),
    "establish_rej": w(RMCI_CONN_ESTABLISH_REJ, 1, 2) + h(3, 0) + w(5) + text("no such port"),
    "result_data": w(RFTI_GET_RESULT_DATA, 1, 2, 0) + bytes(range(64)),
    "server_ind": w(ULSA_RMCI_SERVER_HUNT_IND) + text("RMCI_SERVER", 104),
})

# ---- rmci_client, rfti_client: answers to a waiting client --------------------------
# The client word (the second word) counts from the client's own: 0 is the client's.
RMCI_CONN_ESTABLISH_CFM, RMCI_CONFIG_REJ = 0x1706A01, 0x1706A22
RMCI_MEASURE_IND, RMCI_MEASURE_STOP_CFM = 0x1706A33, 0x1706A41
KGM_IW_USI_CONN_ESTABLISH_REJ = 0x1742B02
ULSA_RFTI_SERVER_HUNT_IND = 0x1714402
RFTI_CONN_ESTABLISH_REJ, RFTI_GET_CAPABILITIES_CFM = 0x1706B02, 0x1706B11
RFTI_GET_RESULT_CFM, RFTI_GET_RESULT_REJ = 0x1706B21, 0x1706B22


def file_byte(at):
    return (at * 7 + 1) & 0xFF


write("rmci_client", {
    "usi_rej": w(KGM_IW_USI_CONN_ESTABLISH_REJ, 0, 0, 2),
    "unit_info": w(KGM_IW_USI_UNIT_INFO_UPDATE_IND, 0, 1, 0, 1) + bytes(64) + text("FUZZ-link"),
    "hunt": w(ULSA_RMCI_SERVER_HUNT_IND) + text("FUZZ-link/RmcServer", 104),
    "connected": w(RMCI_CONN_ESTABLISH_CFM, 0, 7),
    # A spectrum record is 60 bytes apart from the next, as the conversion walks them.
    "capabilities": w(RMCI_GET_CAPABILITIES_CFM, 0, 7) + h(2, 0) + h(1, 60) + w(1) + entry +
                    bytes(8) + record2,
    "config_rej": w(RMCI_CONFIG_REJ, 0, 7) + h(4, 0) + text("bad band"),
    "measure_ind": w(RMCI_MEASURE_IND, 0, 7, 1, 5),
    "stop_cfm": w(RMCI_MEASURE_STOP_CFM, 0, 7),
})
write("rfti_client", {
    "hunt": w(ULSA_RFTI_SERVER_HUNT_IND) + text("FUZZ-link/RftServer", 104),
    "conn_rej": w(RFTI_CONN_ESTABLISH_REJ, 0, 0) + h(1, 0) + h(3, 0) + text("refused"),
    "capabilities": w(RFTI_GET_CAPABILITIES_CFM, 0, 7) + h(0, 0, 0, 0) + w(64),
    "description": w(RFTI_GET_RESULT_CFM, 0, 7, 160, 64, 3,
                     sum(file_byte(i) for i in range(160))),
    "result_rej": w(RFTI_GET_RESULT_REJ, 0, 7) + h(5, 0) + text("no such file"),
    "block2": w(RFTI_GET_RESULT_DATA, 0, 7, 2) + bytes(file_byte(64 + i) for i in range(64)),
    "last_block": w(RFTI_GET_RESULT_DATA, 0, 7, 3) + bytes(file_byte(128 + i) for i in range(32)),
})

# ---- maofro_request: create, get, set, delete and action requests ------------------
MAO_FRO_CREATE_REQ, MAO_FRO_DELETE_REQ, MAO_FRO_GET_REQ = 0xB0061, 0xB0063, 0xB0065
MAO_FRO_SET_REQ, MAO_FRO_ACTION_REQ = 0xB0067, 0xB0077


def xml_attr(xml, attribute=21):
    return w(attribute) + h(1, 0) + w(len(padded(xml))) + padded(xml)


LDN = "ManagedElement=1,UlSpectrumAnalyzer=1"


def class_xml(body):
    return ('<?xml version="1.0" encoding="UTF-8" ?>\n<mim version="v1"><class ldn="%s">%s'
            '</class></mim>' % (LDN, body))


create_xml = class_xml('<attr name="targetRfPort" type="STRING" value="A"/>')
get_xml = class_xml("")
zipped = base64.b64encode(zlib.compress(create_xml.encode(), 9)).decode()
write("maofro_request", {
    "create": w(MAO_FRO_CREATE_REQ, 1, 0, 1, 2) + xml_attr(create_xml),
    "create_zipped": w(MAO_FRO_CREATE_REQ, 1, 0, 1, 2) + xml_attr(zipped, 22),
    "get": w(MAO_FRO_GET_REQ, 2, 5, 0, 1, 2) + xml_attr(get_xml),
    "set": w(MAO_FRO_SET_REQ, 3, 5, 0, 1, 2) + xml_attr(create_xml),
    "delete": w(MAO_FRO_DELETE_REQ, 4, 5, 0, 1, 2) + xml_attr(get_xml),
    "action": w(MAO_FRO_ACTION_REQ, 5, 0, 0, 1, 0, 2) +
              xml_attr(class_xml('<attr name="start" type="STRING" value=""/>')),
})

# ---- ima_reply: replies of the attribute-read service -------------------------------
OMF_MAO_IMA_NC_READ_CFM = 0x1740205
doc = ('<ima version="R1A"><class ldn="ManagedElement=1"><attr name="fullDistinguishedName" '
       'type="STRING" value="SubNetwork=1,ManagedElement=1"/></class></ima>')
empty = '<ima version="R1A"></ima>'
write("ima_reply", {
    "reply": w(OMF_MAO_IMA_NC_READ_CFM, 0, 0, len(doc)) + text(doc),
    "empty": w(OMF_MAO_IMA_NC_READ_CFM, 0, 0, len(empty)) + text(empty),
})

# ---- nameserver_signal ---------------------------------------------------------------
NS_ADD_SERVICE, NS_REMOVE_SERVICE, NS_SUBSCRIBE_SERVICE = 31600, 31602, 31609
NS_CANCEL_SERVICE_SUBSCRIPTION = 31615
NS_FIND_SERVER, NS_NAME_SUBSCRIBE, NS_SIGNAL_SUBSCRIBE = 0x7B76, 0x7B78, 0x7B81
NS_STATUS_REQ = 0x7E5900
name = padded("TARVO_RFAI")
write("nameserver_signal", {
    "add": w(NS_ADD_SERVICE) + text("fuzzService"),
    "remove": w(NS_REMOVE_SERVICE) + text("fuzzService"),
    "subscribe": w(NS_SUBSCRIBE_SERVICE, 0) + text("fuzzService"),
    "cancel": w(NS_CANCEL_SERVICE_SUBSCRIPTION, 1),
    "find": w(NS_FIND_SERVER, 0) + text("ose_ns"),
    "name_subscribe": w(NS_NAME_SUBSCRIBE, 0) + text("TARVO_RFAI"),
    "signal_subscribe": w(NS_SIGNAL_SUBSCRIBE, 0, len(name), 0) + name + w(0x10650),
    "status": w(NS_STATUS_REQ),
})

# ---- transaction_signal ----------------------------------------------------------------
write("transaction_signal", {
    "create": w(0x2711, 0),
    "register": w(0x2713, 1, 42),
    "sql": w(0x2721, 1) + text("create table f (id integer)"),
    "sql_part": w(0x2722, 1) + text("insert into f values (1)"),
    "prepare": w(0x2715, 1),
    "commit": w(0x2717, 1),
    "rollback": w(0x2719, 1),
    "attach": w(0x271C),
})

# ---- filetransfer_signal ---------------------------------------------------------------
write("filetransfer_signal", {
    "init": w(0x10668) + text("fuzzClient", 41) + b"\0" + h(5, 4, 3),
    "connect": w(0x186FE) + text("127.0.0.1:1", 256) + text("user", 255) + text("pw", 21),
    "put": w(0x1082F) + text("/d/ulsasample/x", 256) + text("x", 256),
    "disconnect": w(0x10656),
    "terminate": w(0x10665),
})

# ---- link_frames: frames after the hello ---------------------------------------------


def frame(kind, payload=b""):
    return w(kind, len(payload)) + payload


write("link_frames", {
    "ping": frame(1),
    "hunt": frame(2, b"ose_ns") + frame(1),
    "announce": frame(4, w(77) + b"peerProcess"),
    "signal": frame(4, w(77) + b"peerProcess") + frame(5, w(77, 1) + w(0x1234, 5, 6)),
    "ended": frame(4, w(77) + b"peerProcess") + frame(6, w(77)),
})
