#pragma once

// Transfer encodings, encoded words, and the composer's quoted-printable.

#include "mime/encoded_words.h"
#include "mime/mail_data_structure.h"
#include "mime/mime_decode_tool.h"
#include "mime/mime_format_struct.h"
#include "mime/transfer_encodings.h"
