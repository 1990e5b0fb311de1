<?php
require __DIR__ . '/../lib/page.php';

page_start();
$uid = $_GET['uid'] ?? 'meyer';
form('uid', 'Short or full name', $uid);
$address = (string) getenv('TOOLBOX_DIRECTORY');
if ($address === '' || !extension_loaded('ldap')) {
    echo "<p>There is no directory here.</p>\n";
} else {
    $link = ldap_connect($address);
    ldap_set_option($link, LDAP_OPT_PROTOCOL_VERSION, 3);
    // Wrong: brackets and stars of the visitor become part of the filter.
    $found = ldap_search($link, 'dc=example', "(|(uid=$uid)(cn=$uid))");
    $entries = $found ? ldap_get_entries($link, $found) : ['count' => 0];
    for ($i = 0; $i < $entries['count']; $i++) {
        $entry = $entries[$i];
        echo '<p>', text("{$entry['cn'][0]}, telephone {$entry['telephonenumber'][0]}"), "</p>\n";
    }
}
page_end();
