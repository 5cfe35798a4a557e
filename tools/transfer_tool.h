#pragma once

/// The file-transfer run mode ("-comline"): one download with GET or one upload with PUT.
///
/// "-get" URL or "-put" FILE choose the mode, "-dest" URL and "-o" FILE give the other side, "-x" NAME and
/// "-y" WORD the credentials. A downloaded file is a firmware image, which is applied (firmware_image.h) also
/// when its download failed, unless its name contains "config" or "3gdriver".
///
/// @param argv  options from argv[2] on
/// @return the process result: 0; or -1 for an incomplete command line or a failed transfer
int comLine_main(int argc, char **argv);
