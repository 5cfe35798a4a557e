#pragma once

/// Follows up the download of a firmware image: stores the time in the configuration and the result in a
/// flash item. A good image is handed to the upgrader, which this process
/// does not wait for; after a failed download the gateway is told to reboot.
///
/// The upgrader is always given /var/image.img, whatever the file of the command line.
///
/// @param downloadResult  0 when the image is there
/// @return downloadResult, or -1 when the upgrader's process could not be started
int applyFirmwareImage(int downloadResult);
