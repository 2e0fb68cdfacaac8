// `netrondo-app --render`: the pictures of `netrondo circle`, drawn without a display.
#pragma once

namespace netrondo {

/// True when the command line asks for pictures instead of a window.
bool asksForPictures(int argc, char** argv);
/// Analyses the capture, draws it and writes the files; returns the exit status of `netrondo circle`.
int renderPictures(int argc, char** argv);

} // namespace netrondo
