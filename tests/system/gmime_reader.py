"""Mails taken apart by GMime: prints for each file named the list of its parts as JSON, [type, file name, content], texts
as GMime converts them and other contents in Base64. Runs in the system's own Python, which has the bindings."""

import base64
import json
import sys

import gi
gi.require_version("GMime", "3.0")
from gi.repository import GMime  # noqa: E402


def parts(entity):
    kind = entity.get_content_type().get_mime_type()
    if isinstance(entity, GMime.Multipart):
        yield [kind, None, None]
        for index in range(entity.get_count()):
            yield from parts(entity.get_part(index))
    elif isinstance(entity, GMime.TextPart):
        yield [kind, entity.get_filename(), entity.get_text()]
    else:
        stream = GMime.StreamMem.new()
        entity.get_content().write_to_stream(stream)
        yield [kind, entity.get_filename(), base64.b64encode(bytes(stream.get_byte_array())).decode()]


GMime.init()
result = []
for name in sys.argv[1:]:
    message = GMime.Parser.new_with_stream(GMime.StreamFile.open(name, "r")).construct_message(None)
    result.append([message.get_subject(), *parts(message.get_mime_part())])
json.dump(result, sys.stdout)
