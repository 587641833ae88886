#!/bin/sh
# A simulator that never gets ready.
exec sleep 30
