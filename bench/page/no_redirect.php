<?php
// The page is asked for at the address of one of three servers, and served there.
add_filter("redirect_canonical", "__return_false");
