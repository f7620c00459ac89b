#!/bin/bash
# Packets of several codecs, and what they decode to: packet_tool.py tells. Needs ffmpeg (5.1) and sox. See make.sh.
set -euo pipefail
/usr/bin/python3 packet_tool.py "$1"
