# Two interfaces stand on two networks.
set(lab_options --two-lans)
