#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# In the machine, at the end of each boot: does the step that the second disk names, writes to the second
# serial line, and ends the machine with the step's status.
exec >/dev/ttyS1 2>&1 </dev/null
stty -F /dev/ttyS1 -opost
if mount -o ro LABEL=payload /payload; then
  bash /payload/steps.sh "$(cat /payload/step)"
  status=$?
else
  status=99
fi
echo "GUEST-EXIT $status"
# A status of 0 must not look like a machine that ended by itself.
echo "$status" >/run/guest.status
systemctl --no-block poweroff
