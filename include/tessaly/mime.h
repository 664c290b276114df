#pragma once

// Entities and their decoder, transfer encodings, encoded words; composition, attachments, HTML mail, .eml
// files and the tags of HTML.

#include "compose/attach_file_manager.h"
#include "compose/eml_file_decoder.h"
#include "compose/eml_file_encoder.h"
#include "compose/html_mail_encoder.h"
#include "compose/mail_data_structure.h"
#include "compose/mime_analyze.h"
#include "html/html_element.h"
#include "html/html_scan.h"
#include "mime/encoded_words.h"
#include "mime/mime_decode_tool.h"
#include "mime/mime_format_struct.h"
#include "mime/transfer_encodings.h"
