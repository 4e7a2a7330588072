"""Services that have one thing about them, each with what scripts/check-service says of it."""

from __future__ import annotations

import gzip
import json
import re
import zlib
from collections.abc import Callable
from dataclasses import dataclass, field
from typing import Any

from httpmessages import header
from scriptedservice import BY_NAME, OTHER_GROUP, Answer

PASSWORD = dict(BY_NAME["login"].items)["password"]
TOKEN = header(BY_NAME["groups"].request_head, "Cookie").partition("=")[2]

# By the names of the answers, in the order of the requests.
TITLES = {
    "login": "login",
    "groups": "groups",
    "trackers": 'trackers of "12 - Alpine Cup"',
    OTHER_GROUP: 'trackers of "27 - Club trackers"',
    "trackers-no-sim": 'trackers of "40 - Rental pool – Süd"',
    "details": 'details of "2310400"',
    "groups-no-session": "groups without a session",
}
NOT_CHECKED = ("Not checked, because it would book, remove or rename: "
               "POST /activateTrackers.php, POST /extendTrackers.php, GET /removeActivation.php, "
               "GET /bsGetGroupTrackerInfo.php with fx=saveInfo.")

# What an operator sees
REFUSED = 'every login is refused, in a box titled "Error" that has no text'
NOT_NOTICED = ("the client does not notice that there is no session: the operator stays logged in, "
               "with empty lists")
LOGGED_OUT = "the operator is logged out at once"
NO_GROUPS = "no groups are listed, and no trackers"
NO_TRACKERS = 'the table is empty, counted as "(0)"'
NO_SERIAL = "the row has no serial number: no scan finds it, and commands name an empty one"
NOT_ACTIVE = "the tracker is shown as not active, red or yellow, and never in grey"
OTHER_GROUP_EMPTY = "the tip lists this other group as empty"
REMOVES_0 = "reads as 0: Remove would name the period 0"
PENDING = ("reads as 0: the period counts as still to come, so that its tracker is yellow instead "
           "of red and Remove is offered")
ONLY_LOGGED = "nothing: the client only logs it"

# Remarks
CUT = "the connection was closed before the end of the reply"
LENIENT = ("there is a control character or a backslash that JSON does not allow in a text; the "
           "client reads it all the same")
NO_LENGTH = ("the reply is packed or does not tell its length: the progress bar cannot show how "
             "much is still to come")
REDIRECT = "status 302: the client follows no redirect, it reads this reply"
SECRET = ("the password or the session's cookie is in the reply, and the client writes each reply "
          "to its log")
UNKNOWN = "has a member that is not documented, which the client passes over:"


def difference(what: str, effect: str) -> list[str]:
    return [f"  {what}", f"    -> {effect}"]


def remark(what: str) -> list[str]:
    return [f"  remark: {what}"]


@dataclass
class Row:
    """A service that is as recorded, but for one answer."""

    special: str
    change: Callable[[Answer], None]
    told: list[str]  # of that answer
    others: dict[str, list[str]] = field(default_factory=dict)  # of those that follow from it
    titles: dict[str, str] = field(default_factory=dict)  # that differ from the usual ones


def expected(told: dict[str, list[str]], titles: dict[str, str]) -> tuple[int, list[str]]:
    """The exit code and the lines; a title may be what was not asked for, or empty."""
    lines = []
    different = replies = 0
    for name, title in (TITLES | titles).items():
        if not title or "not asked for" in title:
            lines += [title] if title else []
            continue
        differs = any(line.startswith("    ->") for line in told.get(name, []))
        different += differs
        replies += 1
        lines += [f"{title}: {'not ' if differs else ''}as documented", *told.get(name, [])]
    lines.append(NOT_CHECKED)
    if different:
        verb = "is" if different == 1 else "are"
        return 1, [*lines, f"{different} of {replies} replies {verb} not as documented."]
    return 0, [*lines, f"All {replies} replies are as documented."]


# What may be special about an answer


def nothing(answer: Answer) -> None:
    pass


def both(*changes: Callable[[Answer], None]) -> Callable[[Answer], None]:
    def change(answer: Answer) -> None:
        for one in changes:
            one(answer)

    return change


def member(place: str, value: Any) -> Callable[[Answer], None]:
    """Sets the member at a place such as trackers[0].v."""
    def change(answer: Answer) -> None:
        target, last = target_at(answer, place)
        target[last] = value

    return change


def without(place: str) -> Callable[[Answer], None]:
    def change(answer: Answer) -> None:
        target, last = target_at(answer, place)
        del target[last]

    return change


def target_at(answer: Answer, place: str) -> tuple[Any, Any]:
    keys = [int(key) if key.isdigit() else key for key in re.findall(r"\w+", place)]
    target = answer.value
    for key in keys[:-1]:
        target = target[key]
    return target, keys[-1]


def in_each(name: str, key: str, value: Any) -> Callable[[Answer], None]:
    def change(answer: Answer) -> None:
        for element in answer.value[name]:
            element[key] = value

    return change


def extra(name: str) -> Callable[[Answer], None]:
    def change(answer: Answer) -> None:
        answer.value[name] = "more"

    return change


def without_cookie(answer: Answer) -> None:
    del answer.headers["Set-Cookie"]


def head(**headers: str) -> Callable[[Answer], None]:
    return lambda answer: answer.headers.update(
        {name.replace("_", "-"): value for name, value in headers.items()})


def cookie(attributes: str) -> Callable[[Answer], None]:
    return head(Set_Cookie=f"veltrano_session={TOKEN}; {attributes}")


def status(line: str, data: bytes | None = None, **headers: str) -> Callable[[Answer], None]:
    return both(lambda answer: setattr(answer, "status", line), body(data), head(**headers))


def body(data: bytes | None) -> Callable[[Answer], None]:
    return lambda answer: setattr(answer, "body", data)


def whole(data: bytes) -> Callable[[Answer], None]:
    return lambda answer: setattr(answer, "whole", data)


def cut(answer: Answer) -> None:
    answer.whole = answer.wire()[:-9]


def packed(pack: Callable[[bytes], bytes], encoding: str) -> Callable[[Answer], None]:
    def change(answer: Answer) -> None:
        answer.body = pack(json.dumps(answer.value).encode("utf-8"))
        answer.headers["Content-Encoding"] = encoding

    return change


def raw_deflate(data: bytes) -> bytes:
    packer = zlib.compressobj(wbits=-zlib.MAX_WBITS)
    return packer.compress(data) + packer.flush()


# The tables

NO_SESSION_YET = difference("rcode is -99: the session of this login is not accepted", LOGGED_OUT)
NO_COOKIE = difference("no cookie is set that the client would send with its next requests",
                       "nothing tells the service who asks")
NO_GROUP = {"trackers": "trackers: not asked for, because no group is listed",
            OTHER_GROUP: "", "trackers-no-sim": "",
            "details": "details: not asked for, because no tracker is listed"}
NEXT_TRACKER = {"details": 'details of "5120300"'}
NO_ID = {"trackers-no-sim": 'trackers of " - Rental pool – Süd"'}
LISTED_WITHOUT_ID = ('the group is listed without it, as " - NAME", and groupId says that, too; '
                     "idgroup is sent ")


def no_groups(special: str, change: Callable[[Answer], None], what: str, *remarks: str) -> Row:
    """No group can be read, so that none is asked for."""
    told = difference(what, NO_GROUPS)
    for text in remarks:
        told += remark(text)
    return Row(special, change, told, {}, NO_GROUP)


def session_lost(special: str, change: Callable[[Answer], None]) -> Row:
    """No cookie is sent after the login."""
    return Row(special, change, NO_COOKIE, {"groups": NO_SESSION_YET}, NO_GROUP)


LOGIN = [
    Row("nothing", nothing, []),
    Row("id is a text", member("id", "1"),
        difference("id is a text instead of a whole number", REFUSED)),
    Row("id is a text, and there is a msg", both(member("id", "1"), member("msg", "Hello")),
        difference("id is a text instead of a whole number", 'every login is refused, in a box '
                   'titled "Error" that shows the msg of this reply')),
    Row("id is missing", without("id"), difference("id is missing", REFUSED)),
    Row("id is null", member("id", None),
        difference("id is null instead of a whole number", REFUSED)),
    Row("id is true", member("id", True),
        difference("id is true or false instead of a whole number", REFUSED)),
    Row("id has a fraction", member("id", 1.5),
        difference("id is a number with a fraction instead of a whole number", REFUSED)),
    Row("id has a fraction of 0", member("id", 3.0), []),
    Row("id is the largest number", member("id", 2147483647), []),
    Row("id is a larger number", member("id", 2147483648),
        difference("id is a number that does not fit into 32 bits", REFUSED)),
    Row("msg is null", member("msg", None),
        difference("msg is null instead of a text",
                   'the box titled "Error" of a refused login has no text')),
    Row("name is missing", without("name"), difference("name is missing", ONLY_LOGGED)),
    Row("a member more", extra("plan"), remark(f'the reply {UNKNOWN} "plan"')),
    Row("a member more that moves the cursor", extra("\x1b[2J\n"),
        remark(f'the reply {UNKNOWN} "?[2J?"')),
    Row("the cookie in the reply", member("name", TOKEN), remark(SECRET)),
    Row("the password in the reply", extra(f"for {PASSWORD}"),
        remark(f"the reply {UNKNOWN} (withheld: it holds the password or the session)")
        + remark(SECRET)),
    Row("a cookie of another name", head(Set_Cookie=f"PHPSESSID={TOKEN}"), []),
    Row("a cookie with a value that is in many a text", head(Set_Cookie="visits=1"), []),
    session_lost("no cookie", without_cookie),
    session_lost("a cookie for another path", cookie("Path=/other")),
    session_lost("a cookie of another host", cookie("Domain=elsewhere.example")),
    session_lost("a cookie that has expired", cookie("Max-Age=0")),
    Row("no JSON", body(b"<html>"), difference("the reply is no JSON", REFUSED)),
    Row("status 500 with the right body", status("500 Oh"),
        remark("status 500: the client looks at no status, it reads this reply")),
    Row("status 401 with the right body", status("401 No", WWW_Authenticate='Basic realm="x"'),
        remark("status 401: the client looks at no status, it reads this reply")),
    Row("a redirect with the right body", status("302 Found", Location="/elsewhere"),
        remark(REDIRECT)),
    Row("a redirect", status("302 Found", b"", Location="/elsewhere"),
        difference("the reply is empty", REFUSED) + remark(REDIRECT)),
]

GROUPS = [
    Row("rcode is a text", member("rcode", "0"),
        difference("rcode is a text instead of a whole number",
                   f"reads as 0: from a -99 that is written like this {NOT_NOTICED}")),
    Row("rcode is -99 without a sign", member("rcode", 4294967197),
        difference("rcode is a number that does not fit into 32 bits",
                   f"reads as 0: from a -99 that is written like this {NOT_NOTICED}")),
    Row("rcode is missing", without("rcode"),
        difference("rcode is missing", "nothing, with a session; without it in the reply to an "
                   f"ended one {NOT_NOTICED}")),
    Row("rcode is -99", member("rcode", -99), NO_SESSION_YET),
    Row("rcode is -99.0", member("rcode", -99.0), NO_SESSION_YET),
    Row("another rcode", member("rcode", 7), []),
    Row("msg is a number", member("msg", 5),
        difference("msg is a number instead of a text", ONLY_LOGGED)),
    Row("no msg, which need not be there", without("msg"), []),
    no_groups("groups are missing", without("groups"), "groups is missing"),
    no_groups("groups are an object", member("groups", {"id": "12"}),
              "groups is an object instead of an array"),
    Row("no groups", member("groups", []), [], {}, NO_GROUP),
    Row("a group is a text", member("groups[2]", "40"),
        difference("groups[2] is a text instead of an object",
                   'the group is listed as " - ", and idgroup is sent without a value'),
        {}, {"trackers-no-sim": 'trackers of " - "'}),
    Row("an id is missing", without("groups[2].id"),
        difference("groups[2].id is missing", f"{LISTED_WITHOUT_ID}without a value"),
        {}, NO_ID),
    Row("an id is a number", member("groups[2].id", 40),
        difference("groups[2].id is a number instead of a text",
                   f"{LISTED_WITHOUT_ID}with the right number"), {}, NO_ID),
    Row("an id is true", member("groups[2].id", True),
        difference("groups[2].id is true or false instead of a text",
                   f"{LISTED_WITHOUT_ID}as true"), {}, NO_ID),
    Row("two names are missing",
        both(without("groups[1].group_name"), without("groups[2].group_name")),
        difference("groups[1].group_name is missing (and 1 more like it)",
                   'the group is listed without it, as "ID - "'),
        {}, {OTHER_GROUP: 'trackers of "27 - "', "trackers-no-sim": 'trackers of "40 - "'}),
    Row("a member more in each group", in_each("groups", "owner", 1),
        remark(f'groups[0] {UNKNOWN} "owner" (and 2 more like it)')),
    Row("a very long msg", member("msg", "x" * 200_001),
        remark("msg has 200001 characters; the client shows or logs them all")),
    Row("a long msg", member("msg", "x" * 200_000), []),
    no_groups("empty", body(b""), "the reply is empty"),
    no_groups("an array", body(b"[{}]"), "the reply is JSON, but no object"),
    no_groups("not UTF-8", body(b'{"msg":"\xff"}'), "the reply is not UTF-8"),
    no_groups("UTF-16", body('{"groups":[]}'.encode("utf-16")), "the reply is not UTF-8"),
    no_groups("nested too deeply", body(b'{"a":' + b"[" * 9999 + b"]" * 9999 + b"}"),
              "the reply is nested too deeply"),
    no_groups("a number that overflows", body(b'{"rcode":0,"groups":[],"a":1e999}'),
              "the reply is no JSON"),
    no_groups("NaN", body(b'{"rcode":0,"groups":[],"a":NaN}'), "the reply is no JSON"),
    no_groups("more behind the object", body(b'{"rcode":0,"groups":[]}<br>'),
              "the reply is no JSON"),
    Row("a byte order mark", body(b'\xef\xbb\xbf{"rcode":0,"groups":[]}'), [], {}, NO_GROUP),
    Row("a backslash that escapes nothing", body(rb'{"rcode":0,"groups":[],"msg":"it\'s \\"}'),
        remark(LENIENT), {}, NO_GROUP),
    Row("a line feed in a text", body(b'{"rcode":0,"groups":[],"msg":"a\nb"}'),
        remark(LENIENT), {}, NO_GROUP),
    Row("gzip", packed(gzip.compress, "gzip"), []),
    Row("deflate", packed(zlib.compress, "Deflate"), []),
    Row("deflate without a head", packed(raw_deflate, "deflate"), []),
    no_groups("gzip that is none", packed(lambda data: b"x" + data, "gzip"), "the reply is empty"),
    no_groups("packed in another way", packed(lambda data: data[::-1], "br"),
              "the reply is no JSON",
              "the reply is packed in a way that the client does not unpack"),
    Row("chunked", head(Transfer_Encoding="chunked"), []),
    Row("without a length", head(Content_Length="none", Connection="close"), []),
    no_groups("cut", cut, "the reply breaks off", CUT),
    Row("whole, but shorter than it says", head(Content_Length="999"), remark(CUT)),
    no_groups("a cut chunk",
              whole(b'HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nff\r\n{"g'),
              "the reply breaks off", CUT),
    Row("closed before the last, empty chunk",
        whole(b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
              b'17\r\n{"rcode":0,"groups":[]}\r\n'), remark(CUT), {}, NO_GROUP),
    no_groups("closed without a byte", whole(b""), "the connection was closed without a reply"),
    no_groups("no HTTP", whole(b"SSH-2.0-x\r\n"), "the reply is no HTTP"),
]

PERIOD = "trackers[0].activations[1]"

TRACKERS = [
    Row("rcode is missing", without("rcode"),
        difference("rcode is missing", "nothing, with a session; without it in the reply to an "
                   f"ended one {NOT_NOTICED}")),
    Row("rcode is -99", member("rcode", -99), NO_SESSION_YET),
    Row("balance is a number", member("balance", 412.5),
        difference("balance is a number with a fraction instead of a text", "no balance is shown")),
    Row("trackers are missing", without("trackers"),
        difference("trackers is missing", NO_TRACKERS), {}, NEXT_TRACKER),
    Row("trackers are null", member("trackers", None),
        difference("trackers is null instead of an array", NO_TRACKERS), {}, NEXT_TRACKER),
    Row("a tracker is a text", member("trackers[1]", "2310484"),
        difference("trackers[1] is a text instead of an object",
                   'the row has no text but the firmware " .", and a red light')),
    Row("serial numbers are numbers", in_each("trackers", "deviceSn", 2310400),
        difference("trackers[0].deviceSn is a number instead of a text (and 2 more like it)",
                   NO_SERIAL), {}, {"details": 'details of ""'}),
    Row("a serial number in the other spelling",
        both(without("trackers[2].deviceSn"), member("trackers[2].deviceSN", "2310544")),
        difference("trackers[2].deviceSn is missing", NO_SERIAL)
        + remark(f'trackers[2] {UNKNOWN} "deviceSN"')),
    Row("a name is null", member("trackers[0].TrackerName", None),
        difference("trackers[0].TrackerName is null instead of a text",
                   "the tracker's name is empty")),
    Row("compe_id is missing", without("trackers[0].compe_id"),
        difference("trackers[0].compe_id is missing", "the tracker's CompeId is empty")),
    Row("state is a number", in_each("trackers", "state", 1),
        difference("trackers[0].state is a number instead of a text or null (and 2 more like it)",
                   NOT_ACTIVE)),
    Row("state is missing", without("trackers[0].state"),
        difference("trackers[0].state is missing", NOT_ACTIVE)),
    Row("state is null", in_each("trackers", "state", None), []),
    Row("v is missing", without("trackers[0].v"),
        difference("trackers[0].v is missing", 'the firmware shows as " ."')),
    Row("imsi is a number", member("trackers[0].imsi", 262070207388624),
        difference("trackers[0].imsi is a number instead of a text",
                   "the tracker's Imsi is empty")),
    Row("p is true", member("trackers[0].p", True),
        difference("trackers[0].p is true or false instead of a text",
                   "the tracker is shown in the normal profile, never orange")),
    Row("other groups are missing", without("trackers[0].groups"),
        difference("trackers[0].groups is missing", "no tip shows the tracker's other groups")),
    Row("another group is a text", member("trackers[0].groups[0]", "27"),
        difference("trackers[0].groups[0] is a text instead of an object", OTHER_GROUP_EMPTY)),
    Row("another group's id is a number", member("trackers[0].groups[0].id", 27),
        difference("trackers[0].groups[0].id is a number instead of a text", OTHER_GROUP_EMPTY)),
    Row("activations are null", member("trackers[0].activations", None),
        difference("trackers[0].activations is null instead of an array",
                   "the tracker is shown without periods, and never yellow")),
    Row("a period is a text", member(PERIOD, "23"),
        difference(f"{PERIOD} is a text instead of an object", 'a period " -> " is shown that '
                   "counts as still to come, and Remove would name the period 0")),
    Row("a period's id is a number", member(f"{PERIOD}.id", 24),
        difference(f"{PERIOD}.id is a number instead of a text", REMOVES_0)),
    Row("a period's id is the largest number", member(f"{PERIOD}.id", "2147483647"), []),
    Row("a period's id is a larger number", member(f"{PERIOD}.id", "2147483648"),
        difference(f"{PERIOD}.id is a number that does not fit into 32 bits", REMOVES_0)),
    Row("a period's id has 30 digits", member(f"{PERIOD}.id", "9" * 30),
        difference(f"{PERIOD}.id is a number that does not fit into 32 bits", REMOVES_0)),
    Row("a period's id is below 0", member(f"{PERIOD}.id", "-24"),
        difference(f"{PERIOD}.id is a text that does not match ^[0-9]{{1,10}}$",
                   "reads as less than 0: the period cannot be removed")),
    Row("a period's id has blanks around it", member(f"{PERIOD}.id", " 24 "),
        difference(f"{PERIOD}.id is a text that does not match ^[0-9]{{1,10}}$",
                   "nothing: the client reads the number all the same")),
    Row("startTime is missing", without(f"{PERIOD}.startTime"),
        difference(f"{PERIOD}.startTime is missing", "the period is shown without its first day")),
    Row("endTime is a number", member(f"{PERIOD}.endTime", 1790000000),
        difference(f"{PERIOD}.endTime is a number instead of a text",
                   "the period is shown without its last day")),
    Row("done is true", member(f"{PERIOD}.done", True),
        difference(f"{PERIOD}.done is true or false instead of a text", PENDING)),
    Row("done is a number", member(f"{PERIOD}.done", 1),
        difference(f"{PERIOD}.done is a number instead of a text", PENDING)),
    Row("done is a word", member(f"{PERIOD}.done", "yes"),
        difference(f"{PERIOD}.done is a text that does not match ^[0-9]+$", PENDING)),
    Row("done is -1", member(f"{PERIOD}.done", "-1"),
        difference(f"{PERIOD}.done is a text that does not match ^[0-9]+$",
                   "nothing: the client reads it as a period that is not to come")),
    Row("done is too large", member(f"{PERIOD}.done", "2147483648"),
        difference(f"{PERIOD}.done is a number that does not fit into 32 bits", PENDING)),
    Row("done is any number", member(f"{PERIOD}.done", "1790000000"), []),
    Row("no JSON", body(b"oops"),
        difference("the reply is no JSON", f"{NO_TRACKERS}, and there is no balance"), {},
        NEXT_TRACKER),
    Row("chunked", head(Transfer_Encoding="chunked"), remark(NO_LENGTH)),
    Row("gzip", packed(gzip.compress, "gzip"), remark(NO_LENGTH)),
    Row("without a length", head(Content_Length="none", Connection="close"), remark(NO_LENGTH)),
]

DETAILS = [
    Row("name is missing", without("name"),
        difference("name is missing",
                   "the dialog opens with an empty name, and OK would save that")),
    Row("SN is a number", member("SN", 2310484),
        difference("SN is a number instead of a text",
                   "a new name would be sent with SN without a value: for no tracker")),
    Row("no deviceSN, which need not be there", without("deviceSN"), []),
    Row("deviceSN is a number", member("deviceSN", 1),
        difference("deviceSN is a number instead of a text", ONLY_LOGGED)),
    Row("rcode is a text", member("rcode", "0"),
        difference("rcode is a text instead of a whole number", ONLY_LOGGED)),
    Row("not there", status("404 Not Found", b"File not found.\n"),
        difference("the reply is no JSON",
                   "the dialog opens with an empty name, and OK would save that, for no tracker")
        + remark("status 404: the client looks at no status, it reads this reply")),
]

NO_SESSION = [
    Row("rcode is a text", member("rcode", "-99"),
        difference("rcode is a text instead of a whole number", NOT_NOTICED)),
    Row("rcode is 0", member("rcode", 0), difference("rcode is not -99", NOT_NOTICED)),
    Row("rcode is missing", without("rcode"), difference("rcode is missing", NOT_NOTICED)),
    Row("groups are missing", without("groups"),
        difference("groups is missing", "nothing: no groups are listed, as it should be")),
    Row("groups are listed", member("groups", [{"id": "12", "group_name": "Alpine Cup"}]),
        difference("groups are listed for who is not logged in", "whoever asks is told them, and a "
                   "client that is logged out by -99 still lists them")),
    Row("a page to log in", status("302 Found", b"<html>", Location="/login"),
        difference("the reply is no JSON", NOT_NOTICED) + remark(REDIRECT)),
]
