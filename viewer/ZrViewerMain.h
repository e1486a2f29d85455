// veldra-refhost --gui: the reference host with the viewer's windows.
#pragma once

// True when the command line asks for the viewer ("--gui" among the arguments).
bool ZrViewerWanted(int argc, char** argv);

// Runs the viewer: the host served on --port (default 14112, 0: any free port) and the local
// name --local-name (default "veldraimage"), plug-in menus from --plugin-dir (default: the
// folder of this program), every request text appended to --log FILE when given, the control
// requests served with --allow-control (dumps inside the working folder), and every further
// argument opened as an image file (a folder or "*.xmlsrs" as a series). Returns the exit
// code: 0, or 2 for no display, a bad option, a port it cannot listen on or a file it cannot
// open.
int ZrViewerMain(int argc, char** argv);
