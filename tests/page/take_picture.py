# SPDX-License-Identifier: MIT
"""Takes a picture of the upper part of a page.
usage: take_picture.py PAGE OUT.png WIDTH HEIGHT"""
import pathlib
import sys

import browser

page, out, width, height = sys.argv[1:]
chromium = browser.Browser()
try:
    chromium.scheme("light")
    chromium.size(int(width), int(height))
    chromium.open(pathlib.Path(page).resolve().as_uri())
    chromium.settle()
    chromium.picture(out, int(height))
finally:
    chromium.close()
